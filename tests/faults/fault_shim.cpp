// Preloaded into a program to make one of its calls into the C library fail; fault_plan.h says which.
//
// Every variant of a call counts as one kind. The C library's own inner calls do not come through here: a
// file that fopen opens, or what fwrite writes, is met in fopen and fwrite themselves.

#include "fault_plan.h"

#include <cstdarg>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/uio.h>

// The names are the C library's, and the macros' arguments are types and lists that take no parentheses.
// NOLINTBEGIN(bugprone-reserved-identifier, bugprone-macro-parentheses)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

using namespace tonalign::faults;

std::size_t half_if(bool half, std::size_t size)
{
    return half && size > 1 ? size / 2 : size;
}

const char* way(int flags)
{
    return (flags & O_ACCMODE) == O_RDONLY ? "r" : "w";
}

mode_t mode_of(int flags, va_list rest)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(rest, int)) : 0;
}

} // namespace

extern "C" {

// The function that would have been called without the shim.
#define NEXT(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

// Calls on a named file.
#define WRAP_PATH(result, name, kind, file, detail, parameters, arguments, exceptions)                       \
    result name parameters exceptions                                                                        \
    {                                                                                                        \
        return guarded(meet_path(kind, file, detail), [&] { return NEXT(name) arguments; });                 \
    }

// Calls on a descriptor.
#define WRAP_FD(result, name, kind, parameters, arguments, exceptions)                                       \
    result name parameters exceptions                                                                        \
    {                                                                                                        \
        return guarded(meet_descriptor(kind, descriptor), [&] { return NEXT(name) arguments; });             \
    }

#define WRAP_OPEN(name, before, passed)                                                                      \
    int name(before const char* file, int flags, ...)                                                        \
    {                                                                                                        \
        va_list rest;                                                                                        \
        va_start(rest, flags);                                                                               \
        const mode_t mode = mode_of(flags, rest);                                                            \
        va_end(rest);                                                                                        \
        return guarded(meet_path(open_call, file, way(flags)),                                               \
                       [&] { return NEXT(name)(passed file, flags, mode); });                                \
    }

#define COMMA ,
WRAP_OPEN(open, , )
WRAP_OPEN(open64, , )
WRAP_OPEN(openat, int folder COMMA, folder COMMA)
WRAP_OPEN(openat64, int folder COMMA, folder COMMA)

WRAP_PATH(FILE*, fopen, open_call, file, mode, (const char* file, const char* mode), (file, mode), )
WRAP_PATH(FILE*, fopen64, open_call, file, mode, (const char* file, const char* mode), (file, mode), )
WRAP_PATH(int, rename, rename_call, file, to, (const char* file, const char* to), (file, to), noexcept)
WRAP_PATH(int, renameat, rename_call, file, to, (int at, const char* file, int at_to, const char* to),
          (at, file, at_to, to), noexcept)
WRAP_PATH(int, link, rename_call, file, to, (const char* file, const char* to), (file, to), noexcept)
WRAP_PATH(int, chmod, chmod_call, file, "", (const char* file, mode_t mode), (file, mode), noexcept)
WRAP_PATH(int, fchmodat, chmod_call, file, "", (int at, const char* file, mode_t mode, int flags),
          (at, file, mode, flags), noexcept)
WRAP_PATH(int, unlink, unlink_call, file, "", (const char* file), (file), noexcept)
WRAP_PATH(int, unlinkat, unlink_call, file, "", (int at, const char* file, int flags), (at, file, flags),
          noexcept)
WRAP_PATH(int, remove, unlink_call, file, "", (const char* file), (file), noexcept)
WRAP_PATH(int, stat, stat_call, file, "", (const char* file, struct stat* found), (file, found), noexcept)
WRAP_PATH(int, stat64, stat_call, file, "", (const char* file, struct stat64* found), (file, found), noexcept)
WRAP_PATH(int, lstat, stat_call, file, "", (const char* file, struct stat* found), (file, found), noexcept)
WRAP_PATH(int, lstat64, stat_call, file, "", (const char* file, struct stat64* found), (file, found),
          noexcept)
WRAP_PATH(int, access, stat_call, file, "", (const char* file, int mode), (file, mode), noexcept)
WRAP_PATH(int, faccessat, stat_call, file, "", (int at, const char* file, int mode, int flags),
          (at, file, mode, flags), noexcept)
WRAP_PATH(ssize_t, readlink, stat_call, file, "", (const char* file, char* target, std::size_t size),
          (file, target, size), noexcept)

WRAP_FD(int, fchmod, chmod_call, (int descriptor, mode_t mode), (descriptor, mode), noexcept)
WRAP_FD(int, fchown, chmod_call, (int descriptor, uid_t user, gid_t group), (descriptor, user, group),
        noexcept)
WRAP_FD(int, fstat, stat_call, (int descriptor, struct stat* found), (descriptor, found), noexcept)
WRAP_FD(int, fstat64, stat_call, (int descriptor, struct stat64* found), (descriptor, found), noexcept)
WRAP_FD(off_t, lseek, seek_call, (int descriptor, off_t offset, int from), (descriptor, offset, from),
        noexcept)
WRAP_FD(off64_t, lseek64, seek_call, (int descriptor, off64_t offset, int from), (descriptor, offset, from),
        noexcept)

ssize_t read(int descriptor, void* bytes, std::size_t size)
{
    const Fault fault = meet_descriptor(read_call, descriptor);
    return guarded(fault, [&] { return NEXT(read)(descriptor, bytes, half_if(fault.half, size)); });
}

ssize_t write(int descriptor, const void* bytes, std::size_t size)
{
    const Fault fault = meet_descriptor(write_call, descriptor);
    return guarded(fault, [&] { return NEXT(write)(descriptor, bytes, half_if(fault.half, size)); });
}

ssize_t writev(int descriptor, const struct iovec* parts, int count)
{
    const Fault fault = meet_descriptor(write_call, descriptor);
    if (fault.half) {
        // Inside the last part, where a caller has to find its place again.
        iovec* const last = const_cast<iovec*>(parts) + count - 1;
        const std::size_t size = last->iov_len;
        last->iov_len = half_if(true, size);
        const ssize_t written = NEXT(writev)(descriptor, parts, count);
        last->iov_len = size;
        return written;
    }
    return guarded(fault, [&] { return NEXT(writev)(descriptor, parts, count); });
}

int close(int descriptor)
{
    return guarded_close(meet_descriptor(close_call, descriptor), [&] { return NEXT(close)(descriptor); });
}

int fclose(FILE* file)
{
    return guarded_close(meet_descriptor(close_call, fileno(file)), [&] { return NEXT(fclose)(file); });
}

// The console. Its file may be anywhere, so only the stream tells.

std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count, FILE* file)
{
    const Fault fault = file == stdout ? meet_path(console_call, "stdout") : Fault{};
    if (fault.error != 0) {
        errno = fault.error;
        return 0;
    }
    return guarded(fault, [&] { return NEXT(fwrite)(bytes, size, count, file); });
}

int fflush(FILE* file)
{
    return guarded(file == stdout ? meet_path(console_call, "stdout") : Fault{},
                   [&] { return NEXT(fflush)(file); });
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept
{
    const Fault fault = meet_path(thread_call, "thread");
    if (fault.error != 0) {
        return fault.error;
    }
    return guarded(fault, [&] { return NEXT(pthread_create)(thread, attributes, start, argument); });
}

// Temporary files carry the process's number. Always of one length, it takes the same allocations in every
// run.
pid_t getpid() noexcept
{
    constexpr long five_digits = 10000;
    return static_cast<pid_t>(five_digits + syscall(SYS_getpid) % five_digits);
}

// Memory, and so operator new.

void* malloc(std::size_t size) noexcept
{
    return guarded(meet_memory(), [&] { return __libc_malloc(size); });
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    return guarded(meet_memory(), [&] { return __libc_calloc(count, size); });
}

void* realloc(void* old, std::size_t size) noexcept
{
    return guarded(meet_memory(), [&] { return __libc_realloc(old, size); });
}

void* memalign(std::size_t alignment, std::size_t size) noexcept
{
    return guarded(meet_memory(), [&] { return __libc_memalign(alignment, size); });
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return memalign(alignment, size);
}

int posix_memalign(void** result, std::size_t alignment, std::size_t size) noexcept
{
    *result = memalign(alignment, size);
    return *result == nullptr ? ENOMEM : 0;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier, bugprone-macro-parentheses)
