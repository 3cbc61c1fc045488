// SPDX-License-Identifier: BSD-3-Clause
// A checker that does not look, or whose report ends nothing, would let every other test pass.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

namespace {

const struct
{
    const char* checker;
    void (*fault)();
    const char* report;
} faults[] = {
    {"address",
     [] {
         int* volatile block = new int[3]{};
         const volatile int past_the_end = 3;
         [[maybe_unused]] const volatile int read = block[past_the_end];
     },
     "heap-buffer-overflow"},
    {"address",
     [] {
         [[maybe_unused]] int* volatile block = new int[3];
         block = nullptr;
     },
     "detected memory leaks"},
    {"undefined",
     [] {
         volatile int most = INT_MAX;
         most = most + 1;
     },
     "signed integer overflow"},
    {"float-cast-overflow",
     [] {
         const volatile double too_large = 1e30;
         [[maybe_unused]] const volatile int cut = static_cast<int>(too_large);
     },
     "outside the range of representable values"},
    {"thread",
     [] {
         volatile long sum = 0;
#pragma omp parallel for num_threads(3)
         for (int i = 0; i < 100'000; ++i) {
             sum = sum + i;
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
