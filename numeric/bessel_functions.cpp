// SPDX-License-Identifier: BSD-3-Clause
// Modified Bessel functions of integer order.
#include "failure/end_process.h"
#include "numeric/classNRUTILS.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iostream>

namespace {

/// Coefficients in rising powers, with the digits printed in Abramowitz and Stegun under the formula numbers
/// given here.
constexpr double i0_small[] = {1.0,       3.5156229, 3.0899424, 1.2067492,
                               0.2659732, 0.0360768, 0.0045813}; // 9.8.1
constexpr double i0_large[] = {0.39894228,  0.01328592, 0.00225319,  -0.00157565, 0.00916281,
                               -0.02057706, 0.02635537, -0.01647633, 0.00392377}; // 9.8.2
constexpr double i1_small[] = {0.5,        0.87890594, 0.51498869, 0.15084934,
                               0.02658733, 0.00301532, 0.00032411};                                  // 9.8.3
constexpr double i1_large_outer[] = {0.39894228, -0.03988024, -0.00362018, 0.00163801, -0.01031555}; // 9.8.4
constexpr double i1_large_inner[] = {0.02282967, -0.02895312, 0.01787654, -0.00420059};
constexpr double k0_small[] = {-0.57721566, 0.42278420, 0.23069756, 0.03488590,
                               0.00262698,  0.00010750, 0.00000740}; // 9.8.5
constexpr double k0_large[] = {1.25331414, -0.07832358, 0.02189568, -0.01062446,
                               0.00587872, -0.00251540, 0.00053208}; // 9.8.6
constexpr double k1_small[] = {1.0,         0.15443144,  -0.67278579, -0.18156897,
                               -0.01919402, -0.00110404, -0.00004686}; // 9.8.7
constexpr double k1_large[] = {1.25331414,  0.23498619, -0.03655620, 0.01504268,
                               -0.00780353, 0.00325614, -0.00068245}; // 9.8.8

/// I0 and I1 both switch approximations here.
constexpr double i_branch_point = 3.75;

/// Horner's rule; `tail` stands for all terms above the last coefficient, already divided by the power of t.
template <std::size_t N>
double polynomial(const double (&coefficients)[N], double t, double tail = 0.0)
{
    double sum = tail;
    for (std::size_t i = N; i > 0; --i) {
        sum = coefficients[i - 1] + t * sum;
    }
    return sum;
}

double square(double value)
{
    return value * value;
}

} // namespace

float classNRUTILS::bessi0(float x)
{
    const float ax = std::abs(x);
    if (ax < i_branch_point) {
        return static_cast<float>(polynomial(i0_small, square(x / i_branch_point)));
    }
    const float envelope = std::exp(ax) / std::sqrt(ax);
    return static_cast<float>(envelope * polynomial(i0_large, i_branch_point / ax));
}

float classNRUTILS::bessi1(float x)
{
    const double ax = std::abs(x);
    double value;
    if (ax < i_branch_point) {
        value = ax * polynomial(i1_small, square(ax / i_branch_point));
    } else {
        const double t = i_branch_point / ax;
        const float inner = static_cast<float>(polynomial(i1_large_inner, t));
        value = std::exp(ax) / std::sqrt(ax) * polynomial(i1_large_outer, t, inner);
    }
    return static_cast<float>(x < 0.0F ? -value : value);
}

float classNRUTILS::bessk0(float x)
{
    const double argument = x;
    if (argument <= 2.0) {
        return static_cast<float>(-std::log(argument / 2.0) * bessi0(x) +
                                  polynomial(k0_small, argument * argument / 4.0));
    }
    return static_cast<float>(std::exp(-argument) / std::sqrt(argument) *
                              polynomial(k0_large, 2.0 / argument));
}

float classNRUTILS::bessk1(float x)
{
    const double argument = x;
    if (argument <= 2.0) {
        return static_cast<float>(std::log(argument / 2.0) * bessi1(x) +
                                  1.0 / argument * polynomial(k1_small, argument * argument / 4.0));
    }
    return static_cast<float>(std::exp(-argument) / std::sqrt(argument) *
                              polynomial(k1_large, 2.0 / argument));
}

float classNRUTILS::bessi(int n, float x)
{
    constexpr double accuracy = 40.0; // a larger value starts the recurrence at a higher order
    constexpr double too_big = 1.0e10;
    constexpr double rescaling = 1.0e-10;

    if (n < 2) {
        tonalign::end_process(std::cout, {"Index n less than 2 in bessi"}, tonalign::ExitStatus::success);
    }
    if (x == 0.0F) {
        return 0.0F;
    }
    const float two_over_x = 2.0F / std::abs(x);
    float above = 0.0F;   // order j + 1, up to the common factor
    float current = 1.0F; // order j
    float at_n = 0.0F;
    const auto start = 2 * (std::int64_t{n} + static_cast<std::int64_t>(std::sqrt(accuracy * n)));
    for (std::int64_t j = start; j > 0; --j) {
        const float below = above + static_cast<float>(j) * two_over_x * current;
        above = current;
        current = below;
        if (std::abs(current) > too_big) {
            at_n = static_cast<float>(at_n * rescaling);
            current = static_cast<float>(current * rescaling);
            above = static_cast<float>(above * rescaling);
        }
        if (j == n) {
            at_n = above;
        }
    }
    const float value = bessi0(x) / current * at_n;
    return x < 0.0F && n % 2 != 0 ? -value : value;
}

float classNRUTILS::bessk(int n, float x)
{
    if (n == 0) {
        return bessk0(x);
    }
    const float two_over_x = 2.0F / x;
    float below = bessk0(x);
    float current = bessk1(x);
    for (int j = 1; j < n; ++j) {
        const float above = below + static_cast<float>(j) * two_over_x * current;
        below = current;
        current = above;
    }
    return current;
}
