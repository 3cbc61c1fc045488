// SPDX-License-Identifier: BSD-3-Clause
// The one way in which files are written.
#pragma once

#include "volume/Descriptor.h"

#include <sys/stat.h>

#include <fstream>
#include <optional>
#include <string>

namespace tonalign {

/// A file that is being written and takes its name only when it is whole.
///
/// Two ways only. Beside: the bytes go to a temporary file, `.tonalign-<process>-<number>`, in the folder of
/// the final one, are flushed to the disk, and keep() renames it, so that the final name always means the old
/// file or the whole new one. The result has the permissions of a file that was created directly, or, when it
/// replaces a file, that file's permissions and, as far as the process may set them, its owner and group. A
/// symbolic link stays and the file at its end is replaced; other hard links of a replaced file keep the old
/// content.
///
/// Direct: what cannot be renamed over, because it is no regular file (a pipe, a device), is a mount of its
/// own, or lies in a folder that may not be changed. Such a regular file is emptied when it cannot be written
/// whole.
///
/// The final name is followed to its folder once, and everything after that is done within that open folder
/// on that name, or on the open file: nobody who renames folders or links meanwhile can lead the bytes
/// elsewhere.
class OutputFile
{
public:
    /// Finds the file's place and creates the temporary file. An empty name is no file.
    explicit OutputFile(const std::string& name);
    ~OutputFile() { discard(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Whether the file can be written, as far as can be known without touching what is there; if not, errno
    /// says why.
    bool possible() const { return m_way != Way::none; }

    /// Starts the writing, which empties a file that is written directly; false when it cannot be opened.
    bool begin();

    /// Takes the bytes, from begin() to close().
    std::ofstream& stream() { return m_stream; }

    /// Has the disk begin with the bytes that the stream has passed on, so that close() waits for less.
    void startWriteback();

    /// Ends the writing and waits for the disk; false, with everything discarded, when any of it failed.
    bool close();

    /// Whether close() succeeded.
    bool whole() const { return m_whole; }

    /// close(), when that is still to come, then the final name; false when that failed: the final name then
    /// means what it meant before. errno says why.
    bool keep();

    /// Gives the new content up, unless it is whole and in its place.
    void discard();

    /// Whether two names lead to one file, or would if it were there; hard links lead to different ones, as
    /// each is replaced by itself.
    static bool leadToOneFile(const std::string& a, const std::string& b);

    /// Gives up both files of a pair that would be one, through links or otherwise. For before begin().
    static void refuseOneFile(OutputFile& header, OutputFile& image);

    /// Gives both files their final names or neither; an image whose header was given up is kept alone.
    ///
    /// No reader, and no end of the process, ever meets the header of one volume beside the image of another:
    /// while the names change, an old header's name leads to an empty file. Returns the file that could not
    /// be put in place, with the final names as before; null when all went well. An old file that cannot be
    /// put back is told on standard error, with the name it has then.
    static const OutputFile* keepPair(OutputFile& header, OutputFile& image);

private:
    OutputFile() = default;

    enum class Way
    {
        none,
        beside,
        direct,
    };

    bool isRegular() const { return S_ISREG(m_found->st_mode) && !m_openFile; }
    bool findPlace(std::string path);
    bool openFound();
    bool createBeside();
    bool saveOld();
    bool moveOld();
    bool hideOld();
    bool place();
    bool namesOnDisk() const;
    static bool areOneFile(const OutputFile& a, const OutputFile& b);
    bool putBack();
    void settle(bool kept);

    Way m_way = Way::none;
    std::string m_shown;                ///< the name as it was given
    Descriptor m_folder;                ///< of the final file, past all symbolic links
    std::string m_name;                 ///< of the final file in that folder
    std::optional<struct stat> m_found; ///< what had the final name at first
    bool m_openFile = false;            ///< the name means an open file, as /dev/stdout does
    Descriptor m_file;                  ///< what is written: the temporary file, or the final one
    std::string m_temporary;            ///< name of the temporary file; empty when there is none (any more)
    std::string m_old;                  ///< second name of the old file; empty when it has none
    bool m_moved = false;               ///< the final name does not mean the old file now
    bool m_emptied = false;             ///< a regular file, written directly and not whole yet
    bool m_whole = false;
    std::ofstream m_stream;
};

} // namespace tonalign
