#pragma once

// Which call shall fail and how, as the environment says:
//
//   FAULT_FOLDER  calls on files count if the file is in this folder or named by a relative path
//   FAULT_LOG     every counted call appends a line here (without FAULT_CALL), else the fault when it fires
//   FAULT_CALL    kind of call: one of kind_names below
//   FAULT_AT      the how-manieth call of that kind, from 1
//   FAULT_ACTION  errno N | half | before SIGNAL | after SIGNAL   (N and SIGNAL are numbers)
//   FAULT_ON      if set, the calls after it fail as well: a disk stays full

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>
#include <type_traits>
#include <unistd.h>

namespace tonalign::faults {

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

inline Plan plan;
inline std::atomic<long> calls[kinds];

/// Read at the first call, which may come before any constructor but not before there is an environment.
inline void read_plan()
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

inline void send_signal(int number)
{
    syscall(SYS_kill, syscall(SYS_getpid), number);
}

/// One line "KIND<tab>NAME<tab>DETAIL", by system calls alone: the functions are wrapped or may be failing.
inline void note(Kind kind, const char* name, const char* detail)
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

inline bool counts(const char* name)
{
    if (name == nullptr || name[0] == '\0') {
        return false;
    }
    return name[0] != '/' ||
           (plan.folder != nullptr && std::strncmp(name, plan.folder, std::strlen(plan.folder)) == 0);
}

/// Counts a call and says what shall happen to it. A signal to be sent first is sent here.
inline Fault meet(Kind kind, const char* name, const char* detail)
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

inline Fault meet_path(Kind kind, const char* name, const char* detail = "")
{
    if (!plan.ready) {
        read_plan();
    }
    return counts(name) ? meet(kind, name, detail) : Fault{};
}

inline Fault meet_descriptor(Kind kind, int descriptor)
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

inline Fault meet_memory()
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

} // namespace tonalign::faults
