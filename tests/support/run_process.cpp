#include "tests/support/run_process.h"

#include "tests/support/scratch_files.h"

#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace tonalign::test {

namespace {

/// Status of a child that could not start the program; no run of the tool ends with it.
constexpr int not_started = 127;

bool send_to_file(int stream, const std::filesystem::path& file)
{
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    return descriptor >= 0 && dup2(descriptor, stream) >= 0;
}

} // namespace

ProcessResult run_process(const std::vector<std::string>& argv, const std::filesystem::path& directory,
                          int threads)
{
    const TemporaryDirectory streams;
    const std::filesystem::path out = streams.path() / "out";
    const std::filesystem::path err = streams.path() / "err";
    std::vector<char*> arguments;
    arguments.reserve(argv.size() + 1);
    for (const std::string& argument : argv) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);

    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("cannot start a process");
    }
    if (child == 0) {
        if (send_to_file(STDOUT_FILENO, out) && send_to_file(STDERR_FILENO, err) &&
            chdir(directory.c_str()) == 0 &&
            setenv("OMP_NUM_THREADS", std::to_string(threads).c_str(), 1) == 0) {
            execv(arguments.front(), arguments.data());
        }
        _exit(not_started);
    }
    int wait_status = 0;
    if (waitpid(child, &wait_status, 0) != child) {
        throw std::runtime_error("lost a process");
    }
    ProcessResult result;
    result.status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -WTERMSIG(wait_status);
    result.standard_output = read_file(out);
    result.standard_error = read_file(err);
    return result;
}

} // namespace tonalign::test
