// SPDX-License-Identifier: BSD-3-Clause
// Leads inputs to a target: libFuzzer's, or in a replay all that a corpus folder holds.
#include "tests/fuzz/fuzz_target.h"

#include "failure/end_process.h"
#include "tests/support/scratch_files.h"

#include <cstdio>
#include <iostream>

namespace tonalign::test {

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

void require(bool kept, const char* promise)
{
    if (!kept) {
        throw std::logic_error(promise);
    }
}

std::string scratch_file(const std::string& name)
{
    static const TemporaryDirectory directory;
    return directory.path() / name;
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
