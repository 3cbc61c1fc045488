// Preloaded into a program to make one of its calls into the C library fail. The environment says which:
//
//   FAULT_FOLDER  calls on files count if the file is in this folder or named by a relative path
//   FAULT_LOG     every counted call appends a line here (without FAULT_CALL), else the fault when it fires
//   FAULT_CALL    kind of call: one of kind_names below
//   FAULT_AT      the how-manieth call of that kind, from 1
//   FAULT_ACTION  errno N | half | before SIGNAL | after SIGNAL   (N and SIGNAL are numbers)
//   FAULT_ON      if set, the calls after it fail as well: a disk stays full
//
// Every variant of a call counts as one kind. The C library's own inner calls do not come through here: a
// file that fopen opens, or what fwrite writes, is met in fopen and fwrite themselves.

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <type_traits>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
extern char** environ;
}

namespace {

enum Kind
{
    open_call,
    read_call,
    write_call,
    close_call,
    rename_call,
    chmod_call,
    unlink_call,
    stat_call,
    seek_call,
    memory_call,
    thread_call,
    console_call,
    kinds
};

constexpr const char* kind_names[kinds] = {"open",   "read", "write", "close",  "rename", "chmod",
                                           "unlink", "stat", "seek",  "memory", "thread", "console"};

struct Plan
{
    bool ready = false;
    const char* folder = nullptr;
    const char* log = nullptr;
    int kind = -1;
    long at = 0;
    bool on = false;
    int error = 0;
    bool half = false;
    int signal_before = 0;
    int signal_after = 0;
};

/// What is to happen to one call.
struct Fault
{
    int error = 0;
    bool half = false;
    int signal_after = 0;
};

Plan plan;
std::atomic<long> calls[kinds];

/// Read at the first call, which may come before any constructor but not before there is an environment.
void read_plan()
{
    const char* const kind = std::getenv("FAULT_CALL");
    const char* const at = std::getenv("FAULT_AT");
    const char* const action = std::getenv("FAULT_ACTION");
    plan.folder = std::getenv("FAULT_FOLDER");
    plan.log = std::getenv("FAULT_LOG");
    plan.on = std::getenv("FAULT_ON") != nullptr;
    for (int k = 0; kind != nullptr && k < kinds; ++k) {
        if (std::strcmp(kind, kind_names[k]) == 0) {
            plan.kind = k;
        }
    }
    plan.at = at != nullptr ? std::atol(at) : 0;
    if (action != nullptr) {
        const char* const number = std::strchr(action, ' ');
        const int value = number != nullptr ? std::atoi(number) : 0;
        plan.error = std::strncmp(action, "errno", 5) == 0 ? value : 0;
        plan.half = std::strcmp(action, "half") == 0;
        plan.signal_before = std::strncmp(action, "before", 6) == 0 ? value : 0;
        plan.signal_after = std::strncmp(action, "after", 5) == 0 ? value : 0;
    }
    plan.ready = true;
}

void send_signal(int number)
{
    syscall(SYS_kill, syscall(SYS_getpid), number);
}

/// One line "KIND<tab>NAME<tab>DETAIL", by system calls alone: the functions are wrapped or may be failing.
void note(Kind kind, const char* name, const char* detail)
{
    if (plan.log == nullptr) {
        return;
    }
    const int saved = errno;
    char line[2048];
    std::size_t length = 0;
    const auto append = [&](const char* text) {
        for (; *text != '\0' && length < sizeof line; ++text) {
            line[length++] = *text;
        }
    };
    append(kind_names[kind]);
    append("\t");
    append(name);
    append("\t");
    append(detail);
    append("\n");
    const long file =
        syscall(SYS_openat, AT_FDCWD, plan.log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    syscall(SYS_write, file, line, length);
    syscall(SYS_close, file);
    errno = saved;
}

bool counts(const char* name)
{
    if (name == nullptr || name[0] == '\0') {
        return false;
    }
    return name[0] != '/' ||
           (plan.folder != nullptr && std::strncmp(name, plan.folder, std::strlen(plan.folder)) == 0);
}

/// Counts a call and says what shall happen to it. A signal to be sent first is sent here.
Fault meet(Kind kind, const char* name, const char* detail)
{
    const long number = ++calls[kind];
    if (plan.kind < 0) {
        note(kind, name, detail);
        return {};
    }
    if (kind != plan.kind || number < plan.at || (number > plan.at && !plan.on)) {
        return {};
    }
    if (number == plan.at) {
        note(kind, name, detail);
    }
    if (plan.signal_before != 0) {
        send_signal(plan.signal_before);
    }
    return {plan.error, plan.half, plan.signal_after};
}

Fault meet_path(Kind kind, const char* name, const char* detail = "")
{
    if (!plan.ready) {
        read_plan();
    }
    return counts(name) ? meet(kind, name, detail) : Fault{};
}

Fault meet_descriptor(Kind kind, int descriptor)
{
    if (!plan.ready) {
        read_plan();
    }
    const int saved = errno;
    char link[64];
    char name[1024];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const long length = syscall(SYS_readlinkat, AT_FDCWD, link, name, sizeof name - 1);
    errno = saved;
    name[length > 0 ? length : 0] = '\0';
    return name[0] == '/' && counts(name) ? meet(kind, name, "") : Fault{};
}

Fault meet_memory()
{
    if (!plan.ready) {
        if (environ == nullptr) {
            return {};
        }
        read_plan();
    }
    return plan.kind == memory_call || plan.kind < 0 ? meet(memory_call, "", "") : Fault{};
}

template <typename Result>
Result failure(int error)
{
    errno = error;
    if constexpr (std::is_pointer_v<Result>) {
        return nullptr;
    } else {
        return static_cast<Result>(-1);
    }
}

template <typename Call>
auto guarded(const Fault& fault, Call call) -> decltype(call())
{
    if (fault.error != 0) {
        return failure<decltype(call())>(fault.error);
    }
    const auto result = call();
    if (fault.signal_after != 0) {
        send_signal(fault.signal_after);
    }
    return result;
}

/// A close that fails has closed all the same.
template <typename Call>
int guarded_close(const Fault& fault, Call call)
{
    const int result = guarded({0, false, fault.signal_after}, call);
    return fault.error != 0 ? failure<int>(fault.error) : result;
}

template <typename Function>
Function next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

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

// Calls on a named file.
#define WRAP_PATH(result, name, kind, file, detail, parameters, arguments, exceptions)                       \
    result name parameters exceptions                                                                        \
    {                                                                                                        \
        return guarded(meet_path(kind, file, detail),                                                        \
                       [&] { return next<result(*) parameters>(#name) arguments; });                         \
    }

// Calls on a descriptor.
#define WRAP_FD(result, name, kind, parameters, arguments, exceptions)                                       \
    result name parameters exceptions                                                                        \
    {                                                                                                        \
        return guarded(meet_descriptor(kind, descriptor),                                                    \
                       [&] { return next<result(*) parameters>(#name) arguments; });                         \
    }

#define WRAP_OPEN(name, before, passed)                                                                      \
    int name(before const char* file, int flags, ...)                                                        \
    {                                                                                                        \
        va_list rest;                                                                                        \
        va_start(rest, flags);                                                                               \
        const mode_t mode = mode_of(flags, rest);                                                            \
        va_end(rest);                                                                                        \
        return guarded(meet_path(open_call, file, way(flags)), [&] {                                         \
            return next<int (*)(before const char*, int, ...)>(#name)(passed file, flags, mode);             \
        });                                                                                                  \
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
WRAP_FD(int, fstat, stat_call, (int descriptor, struct stat* found), (descriptor, found), noexcept)
WRAP_FD(int, fstat64, stat_call, (int descriptor, struct stat64* found), (descriptor, found), noexcept)
WRAP_FD(off_t, lseek, seek_call, (int descriptor, off_t offset, int from), (descriptor, offset, from),
        noexcept)
WRAP_FD(off64_t, lseek64, seek_call, (int descriptor, off64_t offset, int from), (descriptor, offset, from),
        noexcept)

ssize_t read(int descriptor, void* bytes, std::size_t size)
{
    const Fault fault = meet_descriptor(read_call, descriptor);
    return guarded(fault, [&] {
        return next<ssize_t (*)(int, void*, std::size_t)>("read")(descriptor, bytes,
                                                                  half_if(fault.half, size));
    });
}

ssize_t write(int descriptor, const void* bytes, std::size_t size)
{
    const Fault fault = meet_descriptor(write_call, descriptor);
    return guarded(fault, [&] {
        return next<ssize_t (*)(int, const void*, std::size_t)>("write")(descriptor, bytes,
                                                                         half_if(fault.half, size));
    });
}

ssize_t writev(int descriptor, const struct iovec* parts, int count)
{
    const Fault fault = meet_descriptor(write_call, descriptor);
    if (fault.half) {
        // Inside the last part, where a caller has to find its place again.
        iovec* const last = const_cast<iovec*>(parts) + count - 1;
        const std::size_t size = last->iov_len;
        last->iov_len = half_if(true, size);
        const ssize_t written = next<ssize_t (*)(int, const iovec*, int)>("writev")(descriptor, parts, count);
        last->iov_len = size;
        return written;
    }
    return guarded(
        fault, [&] { return next<ssize_t (*)(int, const iovec*, int)>("writev")(descriptor, parts, count); });
}

int close(int descriptor)
{
    return guarded_close(meet_descriptor(close_call, descriptor),
                         [&] { return next<int (*)(int)>("close")(descriptor); });
}

int fclose(FILE* file)
{
    return guarded_close(meet_descriptor(close_call, fileno(file)),
                         [&] { return next<int (*)(FILE*)>("fclose")(file); });
}

// The console. Its file may be anywhere, so only the stream tells.

std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count, FILE* file)
{
    const Fault fault = file == stdout ? meet_path(console_call, "stdout") : Fault{};
    if (fault.error != 0) {
        errno = fault.error;
        return 0;
    }
    return guarded(fault, [&] {
        return next<std::size_t (*)(const void*, std::size_t, std::size_t, FILE*)>("fwrite")(bytes, size,
                                                                                             count, file);
    });
}

int fflush(FILE* file)
{
    return guarded(file == stdout ? meet_path(console_call, "stdout") : Fault{},
                   [&] { return next<int (*)(FILE*)>("fflush")(file); });
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept
{
    const Fault fault = meet_path(thread_call, "thread");
    if (fault.error != 0) {
        return fault.error;
    }
    return guarded(fault, [&] {
        return next<int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create")(
            thread, attributes, start, argument);
    });
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
