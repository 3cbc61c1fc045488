#include "volume/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

namespace tonalign {

namespace {

namespace fs = std::filesystem;

constexpr mode_t permission_bits = 07777;
constexpr mode_t owner_may_read_and_write = S_IRUSR | S_IWUSR;

/// None when it cannot be had; errno then says why.
std::optional<struct stat> status_of(const fs::path& path)
{
    struct stat status;
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return status;
}

fs::path folder_of(const fs::path& path)
{
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// Whether a link is one of the kernel's, as /dev/stdout leads to: it means an open file, not a name.
bool means_open_file(const fs::path& link)
{
    const auto folder = status_of(folder_of(link));
    const auto processes = status_of("/proc");
    return folder && processes && folder->st_dev == processes->st_dev;
}

/// The name at the end of a chain of symbolic links. Empty when it leads to no place of a file; none when
/// that cannot be found out.
std::optional<fs::path> end_of_links(fs::path path)
{
    constexpr int most_links = 40;
    for (int links = 0; links <= most_links; ++links) {
        std::error_code error;
        const fs::file_type type = fs::symlink_status(path, error).type();
        if (type == fs::file_type::none) {
            return std::nullopt;
        }
        if (type != fs::file_type::symlink) {
            return path;
        }
        if (means_open_file(path)) {
            break;
        }
        const fs::path target = fs::read_symlink(path, error);
        if (error) {
            return std::nullopt;
        }
        path = path.parent_path() / target;
    }
    return fs::path();
}

bool can_be_written(const fs::path& path)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    return file >= 0 && ::close(file) == 0;
}

/// In a sticky folder only its owner and the file's may rename over the file.
bool may_be_renamed_over(const struct stat& old, const struct stat& folder)
{
    const uid_t user = ::geteuid();
    return (folder.st_mode & S_ISVTX) == 0 || user == 0 || user == folder.st_uid || user == old.st_uid;
}

/// Whether something is mounted on the file, as containers do with single files: none can be renamed over it.
bool is_mounted_on(const fs::path& path)
{
    struct statx status;
    return ::statx(AT_FDCWD, path.c_str(), 0, STATX_TYPE, &status) == 0 &&
           (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

struct NewFile
{
    int descriptor = -1; ///< -1: not created, errno says why
    fs::path name;
};

/// Creates an empty file under a name that nothing else has, in the folder of `path`.
NewFile create_new_file_beside(const fs::path& path, mode_t mode)
{
    const std::string start = ".tonalign-" + std::to_string(::getpid()) + "-";
    for (int number = 0;; ++number) {
        fs::path name = path.parent_path() / (start + std::to_string(number));
        const int descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (descriptor >= 0 || errno != EEXIST) {
            return {descriptor, std::move(name)};
        }
    }
}

/// Gives an open file the owner and group of another, as far as the process may.
void take_over_owner(int file, const struct stat& current, const struct stat& wanted)
{
    if (current.st_uid == wanted.st_uid && current.st_gid == wanted.st_gid) {
        return;
    }
    if (::fchown(file, wanted.st_uid, wanted.st_gid) != 0) {
        [[maybe_unused]] const int group_alone = ::fchown(file, static_cast<uid_t>(-1), wanted.st_gid);
    }
}

bool rename_file(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    fs::rename(from, to, error);
    return !error;
}

void remove_file(fs::path& path)
{
    std::error_code error;
    fs::remove(path, error);
    path.clear();
}

} // namespace

OutputFile::OutputFile(const std::string& name)
{
    open(name);
}

void OutputFile::open(const std::string& name)
{
    // The system may forbid to follow a link that could be read.
    if (!status_of(name) && errno != ENOENT) {
        return;
    }
    const auto end = end_of_links(name);
    if (!end) {
        return;
    }
    m_final = *end;
    const auto old = status_of(m_final);
    const bool absent = !old && errno == ENOENT;
    const bool regular = old && S_ISREG(old->st_mode);
    const auto folder = status_of(folder_of(m_final));
    // What is not known is not touched.
    if ((!old && !absent) || !folder || (regular && !can_be_written(m_final))) {
        return;
    }
    const bool replaceable = regular && may_be_renamed_over(*old, *folder) && !is_mounted_on(m_final);
    if ((absent || replaceable) && m_final.has_filename()) {
        if (createBeside(regular ? &*old : nullptr)) {
            m_way = Way::beside;
            return;
        }
        const bool folder_forbids_it =
            errno == EACCES || errno == EPERM || errno == EROFS || errno == ENAMETOOLONG;
        if (!folder_forbids_it) {
            return;
        }
    }
    if (regular) {
        m_way = Way::in_place;
        return;
    }
    m_stream.open(name, std::ios::binary);
    if (m_stream) {
        m_way = Way::direct;
    }
}

/// Creates and opens the temporary file; on failure errno says why it could not be created.
bool OutputFile::createBeside(const struct stat* old)
{
    constexpr mode_t of_new_files = 0666;
    // Never more readable than what it replaces, not even for a moment.
    const NewFile created = create_new_file_beside(m_final, old ? old->st_mode & of_new_files : of_new_files);
    if (created.descriptor < 0) {
        return false;
    }
    m_temporary = created.name;
    struct stat current;
    bool usable = ::fstat(created.descriptor, &current) == 0;
    if (usable) {
        m_mode = (old ? old->st_mode : current.st_mode) & permission_bits;
        if (old) {
            take_over_owner(created.descriptor, current, *old);
        }
        // The stream opens the file by its name, which a strict umask may forbid.
        m_modeNow = (current.st_mode | owner_may_read_and_write) & permission_bits;
        const bool writable = m_modeNow == (current.st_mode & permission_bits);
        usable = writable || ::fchmod(created.descriptor, m_modeNow) == 0;
    }
    usable = ::close(created.descriptor) == 0 && usable;
    if (usable) {
        m_stream.open(m_temporary, std::ios::binary);
        usable = m_stream.is_open();
    }
    if (!usable) {
        remove_file(m_temporary);
        errno = EIO;
    }
    return usable;
}

std::ofstream& OutputFile::begin()
{
    if (m_way == Way::in_place) {
        m_stream.open(m_final, std::ios::binary);
        m_emptied = m_stream.is_open();
    }
    return m_stream;
}

bool OutputFile::close()
{
    m_stream.close();
    m_closed = true;
    if (!opened() || !m_stream) {
        discard();
        return false;
    }
    return true;
}

bool OutputFile::keep()
{
    if (!m_closed && !close()) {
        return false;
    }
    if (!putInPlace()) {
        discard();
        return false;
    }
    settle();
    return true;
}

void OutputFile::discard()
{
    m_stream.close();
    if (!m_temporary.empty()) {
        remove_file(m_temporary);
    } else if (m_way == Way::in_place && m_emptied) {
        std::error_code error;
        fs::resize_file(m_final, 0, error);
    }
    m_way = Way::none;
}

const OutputFile* OutputFile::keepPair(OutputFile& header, OutputFile& image)
{
    // Links can make one file of both, which would be the image alone.
    const bool one_file = header.m_way != Way::direct && header.m_final == image.m_final;
    const OutputFile* const failed = one_file               ? &image
                                     : !header.setAside()   ? &header
                                     : !image.setAside()    ? &image
                                     : !image.putInPlace()  ? &image
                                     : !header.putInPlace() ? &header
                                                            : nullptr;
    if (failed != nullptr) {
        image.putBack();
        header.putBack();
    } else {
        image.settle();
        header.settle();
    }
    return failed;
}

/// Renames what has the final name to a temporary one.
bool OutputFile::setAside()
{
    if (m_way != Way::beside) {
        return true;
    }
    if (!status_of(m_final)) {
        return errno == ENOENT;
    }
    NewFile created = create_new_file_beside(m_final, owner_may_read_and_write);
    if (created.descriptor < 0) {
        return false;
    }
    ::close(created.descriptor);
    if (!rename_file(m_final, created.name)) {
        remove_file(created.name);
        return false;
    }
    m_aside = created.name;
    return true;
}

bool OutputFile::putInPlace()
{
    if (m_way != Way::beside) {
        return true;
    }
    // Where nothing differs, a file system that knows no permissions need not be asked for them.
    const bool permitted = m_mode == m_modeNow || ::chmod(m_temporary.c_str(), m_mode) == 0;
    if (!permitted || !rename_file(m_temporary, m_final)) {
        return false;
    }
    m_temporary.clear();
    return true;
}

/// Undoes setAside and putInPlace, whichever of them was done.
void OutputFile::putBack()
{
    if (m_way == Way::beside && m_temporary.empty()) {
        fs::path placed = m_final;
        remove_file(placed);
    }
    if (!m_aside.empty()) {
        rename_file(m_aside, m_final);
        m_aside.clear();
    }
    discard();
}

/// After success: the old file is not needed any more, and the new one no longer to be discarded.
void OutputFile::settle()
{
    if (!m_aside.empty()) {
        remove_file(m_aside);
    }
    m_way = Way::none;
}

} // namespace tonalign
