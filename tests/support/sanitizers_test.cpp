// SPDX-License-Identifier: BSD-3-Clause
// A checker that does not look, or whose report ends nothing, would let every other test pass.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

namespace {

volatile int number = INT_MAX;
int* volatile block = new int[3]{};

TEST(Sanitizers, InForceStopTheProgramWithAStatusOfTheirOwn)
{
    const std::string checkers = TONALIGN_SANITIZE;
    if (checkers.find("address") != std::string::npos) {
        EXPECT_EXIT((number = block[number % 4], std::exit(0)), testing::ExitedWithCode(99),
                    "heap-buffer-overflow");
    }
    if (checkers.find("undefined") != std::string::npos) {
        EXPECT_EXIT((number = number + 1, std::exit(0)), testing::ExitedWithCode(99),
                    "signed integer overflow");
    }
}

} // namespace
