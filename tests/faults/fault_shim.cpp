// SPDX-License-Identifier: BSD-3-Clause
// Preloaded into a program, makes one of its calls into the C library fail. The environment says which:
//
//   FAULT_FOLDER  calls on files count if the file is in this folder or named by a relative path
//   FAULT_LOG     every counted call appends its kind and name here
//   FAULT_CALL    kinds of call: open read write sync link rename close memory
//   FAULT_AT      the how-manieth call of these kinds, from 1; FAULT_ON: the calls behind it fail as well
//   FAULT_ACTION  errno of the failure; "half" of the bytes; "kill": SIGKILL in place of the call, "killed":
//   behind it
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
#include <string_view>
#include <type_traits>

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

/// Counts a call and says what shall happen to it; by system calls alone, as the functions are wrapped.
Fault meet(const char* kind, const char* name)
{
    static std::atomic<long> calls;
    const int saved = errno;
    const std::string_view wanted = setting("FAULT_CALL");
    const bool counted = wanted.find(kind) != std::string_view::npos;
    const long number = counted ? ++calls : 0;
    const long at = std::atol(setting("FAULT_AT").data());
    if ((wanted.empty() || (counted && number == at)) && !setting("FAULT_LOG").empty()) {
        char line[2048];
        const int length = std::snprintf(line, sizeof line, "%s\t%s\n", kind, name);
        const long log = syscall(SYS_openat, AT_FDCWD, setting("FAULT_LOG").data(), O_WRONLY | O_APPEND);
        syscall(SYS_write, log, line, length);
        syscall(SYS_close, log);
    }
    errno = saved;
    if (!counted || number < at || (number > at && setting("FAULT_ON").empty())) {
        return {};
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
    if (fault.error != 0) {
        errno = fault.error;
        if constexpr (std::is_pointer_v<decltype(call())>) {
            return nullptr;
        } else {
            return static_cast<decltype(call())>(-1);
        }
    }
    const auto result = call();
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

// The names are the C library's, and the macro's arguments are lists that take no parentheses.
// NOLINTBEGIN(bugprone-reserved-identifier, bugprone-macro-parentheses)
extern "C" {
void* __libc_malloc(std::size_t size);

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
WRAP_OPEN(open64, , )
WRAP_OPEN(openat, int folder COMMA, folder COMMA)
WRAP(fopen64, FILE*, meet_path("open", file), (const char* file, const char* mode), (file, mode), )
WRAP(rename, int, meet_path("rename", file), (const char* file, const char* to), (file, to), noexcept)
WRAP(renameat, int, meet_path("rename", file), (int at, const char* file, int at_to, const char* to),
     (at, file, at_to, to), noexcept)
WRAP(linkat, int, meet_path("link", file), (int at, const char* file, int at_to, const char* to, int flags),
     (at, file, at_to, to, flags), noexcept)
WRAP(fsync, int, meet_descriptor("sync", file), (int file), (file), )
WRAP(fdatasync, int, meet_descriptor("sync", file), (int file), (file), )
WRAP(writev, ssize_t, meet_descriptor("write", file), (int file, const struct iovec* parts, int count),
     (file, parts, count), )

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

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier, bugprone-macro-parentheses)
