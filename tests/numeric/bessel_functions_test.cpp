// SPDX-License-Identifier: BSD-3-Clause
#include "numeric/classNRUTILS.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iostream>
#include <limits>
#include <numbers>

namespace {

using Nr = classNRUTILS;

/// The error bounds printed with 9.8.2 and 9.8.4 over their leading coefficient, and the roundings to float.
constexpr double tolerance = 6.5e-7;

void expect_close(double value, double expected, double relative = tolerance)
{
    EXPECT_NEAR(value / expected, 1.0, relative) << value << " instead of " << expected;
}

/// I_n(x) = (1/pi) * integral over 0..pi of exp(x cos t) cos(n t); trapezoids converge geometrically here.
double integral_of_i(int n, double x)
{
    constexpr int intervals = 200;
    double sum = 0.5 * (std::exp(x) + std::exp(-x) * (n % 2 == 0 ? 1.0 : -1.0));
    for (int i = 1; i < intervals; ++i) {
        const double t = i * std::numbers::pi / intervals;
        sum += std::exp(x * std::cos(t)) * std::cos(n * t);
    }
    return sum / intervals;
}

/// K_n(x) = integral over t >= 0 of exp(-x cosh t) cosh(n t).
double integral_of_k(int n, double x)
{
    constexpr double step = 1.0 / 64.0;
    double sum = 0.5 * std::exp(-x);
    for (double t = step; x * std::cosh(t) < x + 45.0; t += step) {
        sum += std::exp(-x * std::cosh(t)) * std::cosh(n * t);
    }
    return sum * step;
}

TEST(BesselFunctions, AgreeWithTheirIntegralsOnBothSidesOfTheBranchPoints)
{
    for (int i = 1; i <= 800; ++i) {
        const float x = static_cast<float>(i) / 16.0F; // meets 2 and 3.75, the ends of the branches, exactly
        SCOPED_TRACE(x);
        expect_close(Nr::bessi0(x), integral_of_i(0, x));
        expect_close(Nr::bessi1(x), integral_of_i(1, x));
        expect_close(Nr::bessk0(x), integral_of_k(0, x));
        expect_close(Nr::bessk1(x), integral_of_k(1, x));
    }
}

TEST(BesselFunctions, OfEveryOrderSatisfyTheWronskian)
{
    const auto i = [](int n, float x) {
        return n < 2 ? (n == 0 ? Nr::bessi0(x) : Nr::bessi1(x)) : Nr::bessi(n, x);
    };
    for (const float x : {0.01F, 0.5F, 1.9F, 3.0F, 3.8F, 12.0F, 30.0F}) {
        for (int n = 0; n <= (x < 0.1F ? 8 : 14); ++n) {
            SCOPED_TRACE(::testing::Message() << "order " << n << " at " << x);
            const double wronskian = static_cast<double>(i(n, x)) * Nr::bessk(n + 1, x) +
                                     static_cast<double>(i(n + 1, x)) * Nr::bessk(n, x);
            expect_close(wronskian, 1.0 / x, 2e-6);
        }
    }
}

TEST(BesselFunctions, KeepTheirSymmetriesAndSpecialOrders)
{
    EXPECT_EQ(Nr::bessi0(0.0F), 1.0F);
    EXPECT_EQ(Nr::bessi1(0.0F), 0.0F);
    EXPECT_EQ(Nr::bessi(2, 0.0F), 0.0F);
    for (const float x : {0.3F, 3.75F, 9.0F}) {
        EXPECT_EQ(Nr::bessi0(-x), Nr::bessi0(x));
        EXPECT_EQ(Nr::bessi1(-x), -Nr::bessi1(x));
        EXPECT_EQ(Nr::bessi(3, -x), -Nr::bessi(3, x));
        EXPECT_EQ(Nr::bessi(4, -x), Nr::bessi(4, x));
        EXPECT_EQ(Nr::bessk(0, x), Nr::bessk0(x));
        EXPECT_EQ(Nr::bessk(1, x), Nr::bessk1(x));
        EXPECT_EQ(Nr::bessk(-3, x), Nr::bessk1(x));
    }
    EXPECT_EQ(Nr::bessk0(0.0F), std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(Nr::bessk1(-1.0F)));
}

TEST(BesselFunctionsDeathTest, AnOrderBelowTwoEndsTheProcessNormallyWithItsTextOnStandardOutput)
{
    // A death test sees standard error alone.
    const auto call_with_output_on_stderr = [](int n) {
        std::cout.rdbuf(std::cerr.rdbuf());
        Nr::bessi(n, 0.0F);
    };
    for (const int n : {1, 0, -4}) {
        EXPECT_EXIT(call_with_output_on_stderr(n), ::testing::ExitedWithCode(0),
                    "^Index n less than 2 in bessi$");
    }
}

} // namespace
