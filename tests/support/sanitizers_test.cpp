#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>

/// A checker that is built in but does not look, or whose report does not end the program, would let every
/// other test pass. So each one is shown a fault of its own.

namespace {

/// What the test presets make the status of a reported fault: no run has it.
constexpr int status_of_a_report = 99;

[[maybe_unused]] void expect_reported(void (*fault)(), const char* text)
{
    // Started anew: a thread sanitizer follows no team of threads into a fork.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto ends_well_if_unseen = [fault] {
        fault();
        std::exit(0);
    };
    EXPECT_EXIT(ends_well_if_unseen(), testing::ExitedWithCode(status_of_a_report), text);
}

#ifdef TONALIGN_CHECKS_address
TEST(Sanitizers, TheAddressSanitizerReportsAnOverrun)
{
    expect_reported(
        [] {
            int* volatile block = new int[3]{};
            const volatile int past_the_end = 3;
            [[maybe_unused]] const volatile int read = block[past_the_end];
            delete[] block;
        },
        "heap-buffer-overflow");
}

TEST(Sanitizers, TheAddressSanitizerReportsALeak)
{
    expect_reported(
        [] {
            [[maybe_unused]] int* volatile block = new int[3];
            block = nullptr;
        },
        "detected memory leaks");
}
#endif

#ifdef TONALIGN_CHECKS_undefined
TEST(Sanitizers, TheUndefinedBehaviourSanitizerReportsAnOverflow)
{
    expect_reported(
        [] {
            volatile int most = INT_MAX;
            most = most + 1;
        },
        "signed integer overflow");
}
#endif

#ifdef TONALIGN_CHECKS_float_cast_overflow
TEST(Sanitizers, TheUndefinedBehaviourSanitizerReportsACastThatOverflows)
{
    expect_reported(
        [] {
            const volatile double too_large = 1e30;
            [[maybe_unused]] const volatile int cut = static_cast<int>(too_large);
        },
        "outside the range of representable values");
}
#endif

#ifdef TONALIGN_CHECKS_thread
TEST(Sanitizers, TheThreadSanitizerReportsARace)
{
    expect_reported(
        [] {
            volatile long sum = 0;
#pragma omp parallel for num_threads(3)
            for (int i = 0; i < 100'000; ++i) {
                sum = sum + i;
            }
        },
        "data race");
}

TEST(Sanitizers, TheThreadSanitizerSeesWhatARegionOrders)
{
    // Every cell goes from thread to thread, one region after the other.
    constexpr int count = 999;
    long cells[count] = {};
    for (int round = 0; round < 100; ++round) {
#pragma omp parallel for num_threads(3) schedule(static)
        for (int i = 0; i < count; ++i) {
            cells[(i + round * (count / 3)) % count] += 1;
        }
    }
    EXPECT_EQ(cells[0], 100);
}
#endif

} // namespace
