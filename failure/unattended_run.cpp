// SPDX-License-Identifier: BSD-3-Clause
// Exhausted memory, dead pipes, closed streams.
#include "failure/unattended_run.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>

namespace tonalign {

namespace {

// State that outlives a call: an uncaught exception leaves no other way to know whose run it was, and where.
std::atomic<const char*> program_name = "";
std::atomic<const char*> current_stage = "starting";
std::atomic<std::terminate_handler> runtime_handler = nullptr;
std::atomic_flag told = ATOMIC_FLAG_INIT;

/// Past the streams, which might want memory.
void write_to_standard_error(const char* text)
{
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, std::strlen(text));
}

void tell_of_exhausted_memory()
{
    // Several threads may run out of memory at once; the first one tells, and ends the process.
    while (told.test_and_set()) {
        ::pause();
    }
    write_to_standard_error(program_name);
    write_to_standard_error(": memory ran out while ");
    write_to_standard_error(current_stage);
    write_to_standard_error("\n");
}

[[noreturn]] void end_abnormally()
{
    if (std::current_exception()) {
        try {
            throw;
        } catch (const std::bad_alloc&) {
            tell_of_exhausted_memory();
        } catch (...) {
            // The runtime tells of every other exception by itself.
        }
    }
    const std::terminate_handler handler = runtime_handler;
    handler();
    std::abort();
}

/// Opens what is closed of the standard streams, the wrong way round: each use fails, as it would have.
void occupy_standard_descriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) == -1) {
            ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

} // namespace

void prepare_for_unattended_run(const char* program)
{
    program_name = program;
    occupy_standard_descriptors();
    runtime_handler = std::set_terminate(end_abnormally);
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
}

bool standard_output_written()
{
    std::cout.flush();
    if (!std::cout && *program_name != '\0') {
        std::cerr << program_name << ": standard output cannot be written\n";
    }
    return static_cast<bool>(std::cout);
}

void enter_stage(const char* stage)
{
    current_stage = stage;
}

const char* present_stage()
{
    return current_stage;
}

} // namespace tonalign
