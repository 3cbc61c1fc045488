// SPDX-License-Identifier: BSD-3-Clause
// The whole of a fuzz target but its try_input(). With TONALIGN_REPLAY the inputs are those of a corpus
// folder, else libFuzzer's.
#pragma once

#include "failure/end_process.h"
#include "tests/support/scratch_files.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>

namespace tonalign::test {

void try_input(std::string input);

/// Runs an action; false when it ended the process.
bool completes(const std::function<void()>& action)
{
    static std::FILE* const silent = std::freopen("/dev/null", "w", stdout);
    std::cerr.rdbuf(silent != nullptr ? std::cout.rdbuf() : nullptr);
    set_end_handler([](const ProcessEnd& end) -> int { throw ExitStatus(write_end(end)); });
    try {
        action();
        return true;
    } catch (const ExitStatus&) {
        return false;
    }
}

/// An exception that nobody catches, when a promise is broken.
void require(bool kept, const char* promise)
{
    if (!kept) {
        throw std::logic_error(promise);
    }
}

/// A path in a folder of this process. Put TMPDIR on a memory disk for speed.
std::string scratch_file(const std::string& name)
{
    static const TemporaryDirectory directory;
    return directory.path() / name;
}

/// Takes a value off the front of an input. Bytes past its end are 0.
template <typename T>
T take(std::string& input)
{
    T value{};
    std::memcpy(&value, input.data(), std::min(sizeof value, input.size()));
    input.erase(0, sizeof value);
    return value;
}

} // namespace tonalign::test

#ifdef TONALIGN_REPLAY
int main(int, char** argv)
{
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::fprintf(stderr, "%s\n", entry.path().c_str()); // the last one may bring the process down
        tonalign::test::try_input(tonalign::test::read_file(entry.path()));
        ++inputs;
    }
    return inputs > 0 ? 0 : 1;
}
#else
extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size)
{
    tonalign::test::try_input({data, size});
    return 0;
}

/// Read by the leak checker: Clang's OpenMP library never returns what it keeps for a team of another size.
extern "C" const char* __lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "leak:libomp";
}
#endif
