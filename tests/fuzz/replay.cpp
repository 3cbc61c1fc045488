/// Runs every file of a corpus folder through one fuzz target: replay FOLDER. Fails when there is none.

#include "tests/fuzz/fuzz_target.h"
#include "tests/support/scratch_files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace {

bool all_ran = false;

/// The failures that a target meets end the process with status 0, unless they are thrown.
void refuse_early_end()
{
    if (!all_ran) {
        std::fputs("the process ended before the inputs had run\n", stderr);
        std::_Exit(70);
    }
}

std::vector<std::filesystem::path> inputs_in(const char* folder)
{
    std::vector<std::filesystem::path> inputs;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            inputs.push_back(entry.path());
        }
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 || !std::filesystem::is_directory(argv[1])) {
        std::fputs("one folder of inputs is expected\n", stderr);
        return 2;
    }
    const std::vector<std::filesystem::path> inputs = inputs_in(argv[1]);
    std::atexit(refuse_early_end);
    for (const std::filesystem::path& input : inputs) {
        std::printf("%s\n", input.filename().c_str());
        std::fflush(stdout); // the last name is that of an input that brings the process down
        const std::string bytes = tonalign::test::read_file(input);
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    all_ran = true;
    std::printf("%zu inputs ran\n", inputs.size());
    return inputs.empty() ? 2 : 0;
}
