// Preloaded into a program, makes one of its calls into the C library fail. The environment says which:
//
//   FAULT_FOLDER  calls on files count if the file is in this folder or named by a relative path
//   FAULT_LOG     every counted call appends its kind and name here
//   FAULT_CALL    kinds of call: open read write sync link rename close memory
//   FAULT_AT      the how-manieth call of these kinds, from 1
//   FAULT_ACTION  a number: errno of the failure; "half": half of the bytes; "kill": SIGKILL in place of the call;
//                 "killed": SIGKILL behind it
//   FAULT_ON      if set, the calls after it fail as well
//
// The C library's own inner calls do not come through here: a file that fopen opens is met in fopen itself.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <type_traits>

// The names are the C library's, and the macros' arguments are lists that take no parentheses.
// NOLINTBEGIN(bugprone-reserved-identifier, bugprone-macro-parentheses)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
}

namespace {

struct Fault
{
    int error = 0;
    bool half = false;
    bool killed = false;
};

std::string_view setting(const char* name)
{
    const char* const value = environ != nullptr ? std::getenv(name) : nullptr;
    return value != nullptr ? value : "";
}

void end_process()
{
    syscall(SYS_kill, syscall(SYS_getpid), SIGKILL);
}

/// By system calls alone: the functions are wrapped, or failing.
void note(const char* kind, const char* name)
{
    const int saved = errno;
    char line[2048];
    const int length = std::snprintf(line, sizeof line, "%s\t%s\n", kind, name);
    const long file =
        syscall(SYS_openat, AT_FDCWD, setting("FAULT_LOG").data(), O_WRONLY | O_APPEND | O_CLOEXEC);
    syscall(SYS_write, file, line, length);
    syscall(SYS_close, file);
    errno = saved;
}

/// Counts a call and says what shall happen to it.
Fault meet(const char* kind, const char* name)
{
    static std::atomic<long> calls;
    const std::string_view wanted = setting("FAULT_CALL");
    if (wanted.empty() && !setting("FAULT_LOG").empty()) {
        note(kind, name);
    }
    if (wanted.find(kind) == std::string_view::npos) {
        return {};
    }
    const long number = ++calls;
    const long at = std::atol(setting("FAULT_AT").data());
    if (number < at || (number > at && setting("FAULT_ON").empty())) {
        return {};
    }
    if (number == at) {
        note(kind, name);
    }
    const std::string_view action = setting("FAULT_ACTION");
    if (action == "kill") {
        end_process();
    }
    return {std::atoi(action.data()), action == "half", action == "killed"};
}

Fault meet_path(const char* kind, const char* name)
{
    const std::string_view folder = setting("FAULT_FOLDER");
    const bool counts = name != nullptr && *name != '\0' &&
                        (*name != '/' || (!folder.empty() && std::string_view(name).starts_with(folder)));
    return counts ? meet(kind, name) : Fault{};
}

Fault meet_descriptor(const char* kind, int descriptor)
{
    const int saved = errno;
    char link[64];
    char name[1024] = {};
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    syscall(SYS_readlinkat, AT_FDCWD, link, name, sizeof name - 1);
    errno = saved;
    return *name == '/' ? meet_path(kind, name) : Fault{};
}

template <typename Call>
auto guarded(const Fault& fault, Call call) -> decltype(call())
{
    using Result = decltype(call());
    if (fault.error != 0) {
        errno = fault.error;
        if constexpr (std::is_pointer_v<Result>) {
            return nullptr;
        } else {
            return static_cast<Result>(-1);
        }
    }
    const Result result = call();
    if (fault.killed) {
        end_process();
    }
    return result;
}

/// A close that fails has closed all the same.
template <typename Call>
int guarded_close(const Fault& fault, Call call)
{
    const int result = guarded({0, false, fault.killed}, call);
    errno = fault.error != 0 ? fault.error : errno;
    return fault.error != 0 ? -1 : result;
}

} // namespace

extern "C" {

// The function that would have been called without the shim.
#define NEXT(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

#define WRAP(name, result, met, parameters, arguments, exceptions)                                           \
    result name parameters exceptions                                                                        \
    {                                                                                                        \
        return guarded(met, [&] { return NEXT(name) arguments; });                                           \
    }

#define WRAP_OPEN(name, before, passed)                                                                      \
    int name(before const char* file, int flags, ...)                                                        \
    {                                                                                                        \
        va_list rest;                                                                                        \
        va_start(rest, flags);                                                                               \
        const mode_t mode = (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(rest, int)) : 0;             \
        va_end(rest);                                                                                        \
        return guarded(meet_path("open", file), [&] { return NEXT(name)(passed file, flags, mode); });       \
    }

#define COMMA ,
WRAP_OPEN(open, , )
WRAP_OPEN(open64, , )
WRAP_OPEN(openat, int folder COMMA, folder COMMA)
WRAP(fopen, FILE*, meet_path("open", file), (const char* file, const char* mode), (file, mode), )
WRAP(fopen64, FILE*, meet_path("open", file), (const char* file, const char* mode), (file, mode), )
WRAP(rename, int, meet_path("rename", file), (const char* file, const char* to), (file, to), noexcept)
WRAP(renameat, int, meet_path("rename", file), (int at, const char* file, int at_to, const char* to),
     (at, file, at_to, to), noexcept)
WRAP(linkat, int, meet_path("link", file), (int at, const char* file, int at_to, const char* to, int flags),
     (at, file, at_to, to, flags), noexcept)
WRAP(fsync, int, meet_descriptor("sync", file), (int file), (file), )
WRAP(fdatasync, int, meet_descriptor("sync", file), (int file), (file), )

ssize_t read(int file, void* bytes, std::size_t size)
{
    const Fault fault = meet_descriptor("read", file);
    return guarded(fault, [&] { return NEXT(read)(file, bytes, fault.half ? (size + 1) / 2 : size); });
}

ssize_t write(int file, const void* bytes, std::size_t size)
{
    const Fault fault = meet_descriptor("write", file);
    return guarded(fault, [&] { return NEXT(write)(file, bytes, fault.half ? (size + 1) / 2 : size); });
}

ssize_t writev(int file, const struct iovec* parts, int count)
{
    const Fault fault = meet_descriptor("write", file);
    return guarded(fault, [&] { return NEXT(writev)(file, parts, fault.half ? 1 : count); });
}

int close(int file)
{
    return guarded_close(meet_descriptor("close", file), [&] { return NEXT(close)(file); });
}

int fclose(FILE* file)
{
    return guarded_close(meet_descriptor("close", fileno(file)), [&] { return NEXT(fclose)(file); });
}

// Memory, and so operator new.

void* malloc(std::size_t size) noexcept
{
    return guarded(meet("memory", ""), [&] { return __libc_malloc(size); });
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    return guarded(meet("memory", ""), [&] { return __libc_calloc(count, size); });
}

void* realloc(void* old, std::size_t size) noexcept
{
    return guarded(meet("memory", ""), [&] { return __libc_realloc(old, size); });
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier, bugprone-macro-parentheses)
