// SPDX-License-Identifier: BSD-3-Clause
// Finds a place, writes beside it, and renames.
#include "volume/OutputFile.h"

#include "volume/file_system.h"

#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <iostream>
#include <utility>

namespace tonalign {

namespace {

constexpr int new_file = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
constexpr mode_t for_owner = S_IRUSR | S_IWUSR;

/// Empty when it could not be created.
std::string create_empty_file(int folder)
{
    return with_new_name([folder](const char* name) {
        return Descriptor(::openat(folder, name, new_file, for_owner)).open();
    });
}

} // namespace

OutputFile::OutputFile(const std::string& name) : m_shown(name)
{
    struct stat folder;
    if (!findPlace(name) || ::fstat(m_folder, &folder) != 0) {
        return;
    }
    if (!m_found) {
        m_way = createBeside() ? Way::beside : Way::none;
    } else if (S_ISDIR(m_found->st_mode)) {
        errno = EISDIR;
    } else if (!isRegular()) {
        const bool writable = ::faccessat(m_folder, m_name.c_str(), W_OK, AT_EACCESS) == 0;
        m_way = writable ? Way::direct : Way::none;
    } else if (openFound()) { // what may not be written is not replaced either
        const bool replaceable = may_be_renamed_over(m_file, *m_found, folder);
        if (replaceable && createBeside()) {
            m_way = Way::beside;
        } else if (!replaceable || errno_is({EACCES, EPERM, EROFS})) {
            m_way = Way::direct;
        }
    }
}

/// Follows symbolic links to the folder of the file, and looks at what is there. Each link is opened before
/// it is looked at and read, so that none can be exchanged in between.
bool OutputFile::findPlace(std::string path)
{
    constexpr int most_links = 40;
    for (int links = 0; links <= most_links; ++links) {
        const std::size_t slash = path.rfind('/');
        const std::string folder_name = slash == std::string::npos ? "." : path.substr(0, slash + 1);
        m_name = path.substr(slash + 1); // npos + 1 is 0
        m_folder = Descriptor(::openat(links == 0 ? AT_FDCWD : m_folder, folder_name.c_str(),
                                       O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!m_folder.open() || m_name.empty()) {
            return false;
        }
        const Descriptor entry(::openat(m_folder, m_name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!entry.open()) {
            return errno == ENOENT;
        }
        struct stat folder;
        m_found.emplace();
        if (::fstat(entry, &*m_found) != 0 || ::fstat(m_folder, &folder) != 0) {
            return false;
        }
        if (!S_ISLNK(m_found->st_mode)) {
            return true;
        }
        if (holds_open_files(m_folder)) {
            m_openFile = true;
            return ::fstatat(m_folder, m_name.c_str(), &*m_found, 0) == 0;
        }
        char target[PATH_MAX];
        const ssize_t length = ::readlinkat(entry, "", target, sizeof target);
        if (length < 0 || !may_be_followed(*m_found, folder)) {
            errno = EACCES;
            return false;
        }
        path.assign(target, static_cast<std::size_t>(length));
        m_found.reset();
    }
    errno = ELOOP;
    return false;
}

/// Creates the temporary file. When nothing may be created, errno says why; EIO stands for everything else.
bool OutputFile::createBeside()
{
    // Until it has its owner, it is open to nobody else.
    const mode_t mode = m_found ? m_found->st_mode & for_owner : 0666;
    Descriptor created;
    m_temporary = with_new_name([&](const char* name) {
        created = Descriptor(::openat(m_folder, name, new_file, mode));
        return created.open();
    });
    if (m_temporary.empty()) {
        return false;
    }
    if (m_found && !make_like(created, *m_found)) {
        discard();
        errno = EIO;
        return false;
    }
    m_file = std::move(created);
    return true;
}

/// Opens what was found, if it is still there.
bool OutputFile::openFound()
{
    const int links = m_openFile ? 0 : O_NOFOLLOW;
    const int waiting = isRegular() ? O_NONBLOCK : 0; // it might be a pipe by now
    m_file =
        Descriptor(::openat(m_folder, m_name.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC | links | waiting));
    struct stat status;
    return m_file.open() && ::fstat(m_file, &status) == 0 && is_same_file(status, *m_found);
}

bool OutputFile::begin()
{
    // A pipe waits for its reader, so it is opened as late as this.
    const bool opened = m_way != Way::none && (m_file.open() || openFound());
    // The stream closes its own descriptor; the other one stays for the disk, and for emptying the file.
    const int own = opened ? ::fcntl(m_file, F_DUPFD_CLOEXEC, 0) : -1;
    if (own >= 0) {
        *m_stream.rdbuf() = __gnu_cxx::stdio_filebuf<char>(own, std::ios::out | std::ios::binary);
    }
    const bool empties = m_way == Way::direct && S_ISREG(m_found->st_mode);
    if (!m_stream.is_open() || (empties && ::ftruncate(m_file, 0) != 0)) {
        discard();
        return false;
    }
    m_emptied = empties && !m_openFile;
    return true;
}

void OutputFile::startWriteback()
{
    // A hint: what has no disk refuses it, and an error of the disk comes back when close() waits.
    ::sync_file_range(m_file, 0, 0, SYNC_FILE_RANGE_WRITE);
}

bool OutputFile::close()
{
    const bool flushed = m_stream.is_open() && m_stream.flush() && written_back(m_file);
    m_stream.close();
    m_whole = flushed && m_stream;
    m_emptied = m_emptied && !m_whole;
    if (!m_whole) {
        discard();
    }
    m_file = Descriptor(); // the reader of a pipe waits for this
    return m_whole;
}

bool OutputFile::keep()
{
    const bool writable = m_whole || close();
    const bool restorable = writable && saveOld(); // else the new file stays, should the disk fail at last
    const bool kept = writable && place() && namesOnDisk();
    if (!kept && restorable) {
        putBack();
    }
    settle(kept);
    return kept;
}

void OutputFile::discard()
{
    const int reason = errno;
    m_stream.close();
    if (!m_temporary.empty()) {
        ::unlinkat(m_folder, m_temporary.c_str(), 0);
        m_temporary.clear();
    }
    if (m_emptied) {
        [[maybe_unused]] const int result = ::ftruncate(m_file, 0);
        m_emptied = false;
    }
    m_way = Way::none;
    m_whole = false;
    errno = reason;
}

bool OutputFile::leadToOneFile(const std::string& a, const std::string& b)
{
    OutputFile left;
    OutputFile right;
    struct stat left_folder;
    struct stat right_folder;
    return left.findPlace(a) && right.findPlace(b) && ::fstat(left.m_folder, &left_folder) == 0 &&
           ::fstat(right.m_folder, &right_folder) == 0 && is_same_file(left_folder, right_folder) &&
           left.m_name == right.m_name;
}

void OutputFile::refuseOneFile(OutputFile& header, OutputFile& image)
{
    const bool direct = header.m_way == Way::direct && image.m_way == Way::direct;
    if (direct && header.isRegular() && is_same_file(*header.m_found, *image.m_found)) {
        header.discard();
        image.discard();
    }
}

const OutputFile* OutputFile::keepPair(OutputFile& header, OutputFile& image)
{
    if (!image.m_whole && !image.close()) {
        header.discard();
        return &image;
    }
    if (!header.m_whole) {
        return image.keep() ? nullptr : &image;
    }
    // Everything that takes memory comes before the first name changes.
    const bool header_saved = header.saveOld() || header.moveOld();
    const bool both_saved = header_saved && (image.saveOld() || image.moveOld());
    const bool ready = both_saved && header.hideOld();
    const bool image_placed = ready && image.place();
    const bool both_placed = image_placed && header.place();
    const bool kept =
        both_placed && !areOneFile(header, image) && image.namesOnDisk() && header.namesOnDisk();
    if (!kept && image.putBack()) {
        header.putBack();
    }
    image.settle(kept);
    header.settle(kept);
    const bool header_failed = !header_saved || (both_saved && !ready) || (image_placed && !both_placed);
    return kept ? nullptr : header_failed ? &header : &image;
}

/// Gives the old file, if there is one, a second name; false when that is not possible.
bool OutputFile::saveOld()
{
    if (m_way != Way::beside) {
        return true;
    }
    m_old = with_new_name(
        [this](const char* name) { return ::linkat(m_folder, m_name.c_str(), m_folder, name, 0) == 0; });
    return !m_old.empty() || errno == ENOENT;
}

/// Gives the old file, if there is one, another name in place of its own: for where links are not possible.
bool OutputFile::moveOld()
{
    if (!errno_is({EPERM, EOPNOTSUPP, ENOSYS, EMLINK})) {
        return false;
    }
    m_old = create_empty_file(m_folder);
    m_moved = !m_old.empty() && ::renameat(m_folder, m_name.c_str(), m_folder, m_old.c_str()) == 0;
    const bool absent = !m_moved && errno == ENOENT;
    if (!m_moved && !m_old.empty()) {
        ::unlinkat(m_folder, m_old.c_str(), 0);
        m_old.clear();
    }
    return m_moved || absent;
}

/// Puts an empty file in place of the old one.
bool OutputFile::hideOld()
{
    if (m_old.empty() || m_moved) {
        return true;
    }
    const std::string empty = create_empty_file(m_folder);
    m_moved = !empty.empty() && ::renameat(m_folder, empty.c_str(), m_folder, m_name.c_str()) == 0;
    if (!m_moved && !empty.empty()) {
        ::unlinkat(m_folder, empty.c_str(), 0);
    }
    return m_moved;
}

/// Gives the temporary file the final name.
bool OutputFile::place()
{
    if (m_way == Way::beside) {
        if (::renameat(m_folder, m_temporary.c_str(), m_folder, m_name.c_str()) != 0) {
            return false;
        }
        m_temporary.clear();
        m_moved = true;
    }
    return true;
}

/// Waits for the disk. A folder that may not be read cannot be waited for.
bool OutputFile::namesOnDisk() const
{
    const Descriptor folder(::openat(m_folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return m_way != Way::beside || (folder.open() ? written_back(folder) : errno == EACCES);
}

/// Whether two names that have been given lead to one file: a file system may see less difference between
/// names than we do.
bool OutputFile::areOneFile(const OutputFile& a, const OutputFile& b)
{
    struct stat of_a;
    struct stat of_b;
    return a.m_way == Way::beside && b.m_way == Way::beside &&
           ::fstatat(a.m_folder, a.m_name.c_str(), &of_a, AT_SYMLINK_NOFOLLOW) == 0 &&
           ::fstatat(b.m_folder, b.m_name.c_str(), &of_b, AT_SYMLINK_NOFOLLOW) == 0 &&
           is_same_file(of_a, of_b);
}

/// Undoes what was done to the final name; whether it means again what it meant before.
bool OutputFile::putBack()
{
    const char* const name = m_name.c_str();
    const char* const old = m_old.c_str();
    if (m_moved && m_old.empty()) {
        m_moved = ::unlinkat(m_folder, name, 0) != 0 && errno != ENOENT;
    } else if (m_moved) {
        const bool renamed = ::renameat(m_folder, old, m_folder, name) == 0;
        const bool linked =
            !renamed && ::unlinkat(m_folder, name, 0) == 0 && ::linkat(m_folder, old, m_folder, name, 0) == 0;
        m_moved = !renamed && !linked;
    }
    return !m_moved;
}

/// Removes the second name of the old file, or tells it when that is the only one left.
void OutputFile::settle(bool kept)
{
    if (!kept) {
        discard();
    }
    if (m_old.empty()) {
        return;
    }
    if (!kept && m_moved) {
        std::cerr << m_shown << ": the old file could not be put back; it is " << m_old
                  << " in that folder\n";
    } else {
        ::unlinkat(m_folder, m_old.c_str(), 0);
    }
    m_old.clear();
}

} // namespace tonalign
