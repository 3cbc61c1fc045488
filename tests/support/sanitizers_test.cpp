// SPDX-License-Identifier: BSD-3-Clause
// A checker that does not look, or whose report ends nothing, would let every other test pass.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

namespace {

volatile int number = INT_MAX;
volatile double too_large = 1e30;
int* volatile block = new int[3]{};

const struct
{
    const char* checker;
    void (*fault)();
    const char* report;
} faults[] = {
    {"address", [] { number = block[number % 4]; }, "heap-buffer-overflow"},
    {"address", [] { block = nullptr; }, "detected memory leaks"},
    {"undefined", [] { number = number + 1; }, "signed integer overflow"},
    {"float-cast-overflow", [] { number = static_cast<int>(too_large); },
     "outside the range of representable"},
    {"thread",
     [] {
#pragma omp parallel for num_threads(3)
         for (int i = 0; i < 100'000; ++i) {
             too_large = too_large + i;
         }
     },
     "data race"},
};

TEST(Sanitizers, InForceStopTheProgramWithAStatusOfTheirOwn)
{
    GTEST_FLAG_SET(death_test_style,
                   "threadsafe"); // a thread sanitizer follows no team of threads into a fork
    for (const auto& [checker, fault, report] : faults) {
        if (std::string(TONALIGN_SANITIZE).find(checker) != std::string::npos) {
            EXPECT_EXIT((fault(), std::exit(0)), testing::ExitedWithCode(99), report);
        }
    }
}

} // namespace
