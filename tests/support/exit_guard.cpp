#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

// Many failures end the process with status 0, which whoever runs the tests takes for success. A test program
// that ends before its tests are done therefore ends with a status of its own.

namespace {

bool tests_are_done = false;

void refuse_early_end()
{
    // The child process of a death test is meant to end early.
    if (!tests_are_done && !testing::internal::InDeathTestChild()) {
        std::fputs("the process ended before its tests were done\n", stderr);
        std::fflush(nullptr);
        std::_Exit(70);
    }
}

class ExitGuard : public testing::Environment
{
public:
    void SetUp() override { std::atexit(refuse_early_end); }
    void TearDown() override { tests_are_done = true; }
};

[[maybe_unused]] const testing::Environment* const exit_guard =
    testing::AddGlobalTestEnvironment(new ExitGuard);

} // namespace
