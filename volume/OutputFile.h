#pragma once

#include <sys/types.h>

#include <filesystem>
#include <fstream>
#include <string>

struct stat;

namespace tonalign {

/// A file that is being written and takes its name only when it is whole.
///
/// The bytes go to a temporary file, `.tonalign-<process>-<number>`, in the folder of the final one. keep()
/// renames it, so that the final name always means the old file or the whole new one, whatever happens
/// between. The result has the permissions of a file that was created directly, or, when it replaces a
/// file, that file's permissions and, as far as the process may set them, its owner and group. A symbolic
/// link stays and the file at its end is replaced; other hard links of a replaced file keep the old content.
///
/// Two kinds are opened directly, as there is nothing to replace: what exists and is no regular file (a pipe,
/// a device), and a regular file that no other can be renamed over: the folder may not be changed, or the
/// file is a mount of its own. The latter is emptied when it cannot be written whole.
///
/// Nothing is flushed to the disk itself: this protects from failed writes and ended processes, not from a
/// loss of power.
class OutputFile
{
public:
    /// Opens the file; opened() tells whether that worked. Nothing under the final name changes yet.
    explicit OutputFile(const std::string& name);
    ~OutputFile() { discard(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool opened() const { return m_way != Way::none; }

    /// Whether the bytes go straight into a regular file.
    bool inPlace() const { return m_way == Way::in_place; }

    /// The stream to write to, in binary; to be asked for once. A file in place is emptied now.
    std::ofstream& begin();

    /// Ends the writing; false, with everything discarded, when any of it failed.
    bool close();

    /// close(), when that is still to come, then the final name; false when that failed: the final name then
    /// means what it meant before.
    bool keep();

    /// Gives the new content up, unless it has been kept.
    void discard();

    /// Gives both closed files their final names or neither.
    ///
    /// For a header and its image: while the names change, and if the process is killed then, the header's
    /// name is absent, so that no reader meets a mixed pair. Two names of one file cannot be kept. Returns
    /// the file that could not be put in place, with the final names as before; null when all went well.
    static const OutputFile* keepPair(OutputFile& header, OutputFile& image);

private:
    enum class Way
    {
        none,
        beside,
        in_place,
        direct,
    };

    void open(const std::string& name);
    bool createBeside(const struct stat* old);
    bool setAside();
    bool putInPlace();
    void putBack();
    void settle();

    Way m_way = Way::none;
    bool m_emptied = false; ///< a file in place, and its old content gone
    bool m_closed = false;
    std::filesystem::path m_final;     ///< past all symbolic links
    std::filesystem::path m_temporary; ///< empty when there is none (any more)
    std::filesystem::path m_aside;     ///< where the old file is meanwhile; empty when it is in its place
    mode_t m_mode = 0;                 ///< permissions of the final file
    mode_t m_modeNow = 0;              ///< permissions of the temporary file
    std::ofstream m_stream;
};

} // namespace tonalign
