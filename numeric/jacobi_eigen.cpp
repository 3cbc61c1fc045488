// SPDX-License-Identifier: BSD-3-Clause
// Eigenvalues and eigenvectors of symmetric matrices.
#include "numeric/OffsetArrays.h"
#include "numeric/moreNRUTILS.h"

#include <cmath>
#include <utility>

namespace {

using DoubleVector = tonalign::OffsetVector<double>;

constexpr int max_sweeps = 500;
constexpr int sweeps_with_threshold = 3;  ///< in these only the larger elements are rotated away
constexpr int sweeps_before_dropping = 4; ///< after these an element that changes no eigenvalue is dropped

bool equal_in_float(double a, double b)
{
    return static_cast<float>(a) == static_cast<float>(b);
}

/// A matrix as it is reduced to diagonal form. Only the strict upper triangle of `a` is kept up to date; the
/// diagonal is kept in `d`.
class JacobiSweeps
{
public:
    JacobiSweeps(double** a, int n, double* d, double** v, int* nrot)
        : m_a(a), m_n(n), m_d(d), m_v(v), m_nrot(nrot), m_changes(1, n), m_start(1, n)
    {
        *m_nrot = 0;
        for (int i = 1; i <= m_n; ++i) {
            for (int j = 1; j <= m_n; ++j) {
                m_v[i][j] = i == j ? 1.0 : 0.0;
            }
            m_start[i] = m_d[i] = m_a[i][i];
            m_changes[i] = 0.0;
        }
    }

    double off_diagonal_sum() const
    {
        double sum = 0.0;
        for (int p = 1; p < m_n; ++p) {
            for (int q = p + 1; q <= m_n; ++q) {
                sum += std::abs(m_a[p][q]);
            }
        }
        return sum;
    }

    void sweep(double threshold, bool drop_small)
    {
        for (int p = 1; p < m_n; ++p) {
            for (int q = p + 1; q <= m_n; ++q) {
                const double g = 100.0 * std::abs(m_a[p][q]);
                if (drop_small && is_lost_in(m_d[p], g) && is_lost_in(m_d[q], g)) {
                    m_a[p][q] = 0.0;
                } else if (std::abs(m_a[p][q]) > threshold) {
                    rotate_away(p, q, g);
                }
            }
        }
        // Summing a sweep's small changes before adding them to the eigenvalue loses fewer digits.
        for (int i = 1; i <= m_n; ++i) {
            m_start[i] += m_changes[i];
            m_d[i] = m_start[i];
            m_changes[i] = 0.0;
        }
    }

private:
    static bool is_lost_in(double value, double small)
    {
        return equal_in_float(std::abs(value) + small, std::abs(value));
    }

    /// The tangent of the smaller rotation angle that makes a[p][q] zero.
    double rotation_tangent(int p, int q, double g) const
    {
        const double h = m_d[q] - m_d[p];
        if (h != 0.0 && is_lost_in(h, g)) { // a g below the range of a float is lost even in 0
            return m_a[p][q] / h;
        }
        const double theta = 0.5 * h / m_a[p][q];
        const double t = 1.0 / (std::abs(theta) + std::sqrt(1.0 + theta * theta));
        return theta < 0.0 ? -t : t;
    }

    void rotate_away(int p, int q, double g)
    {
        const double t = rotation_tangent(p, q, g);
        const double c = 1.0 / std::sqrt(1.0 + t * t);
        const double s = t * c;
        const double tau = s / (1.0 + c);
        const double shift = t * m_a[p][q];
        m_changes[p] -= shift;
        m_changes[q] += shift;
        m_d[p] -= shift;
        m_d[q] += shift;
        m_a[p][q] = 0.0;

        const auto rotate = [s, tau](double& first, double& second) {
            const double x = first;
            const double y = second;
            first = x - s * (y + x * tau);
            second = y + s * (x - y * tau);
        };
        for (int j = 1; j < p; ++j) {
            rotate(m_a[j][p], m_a[j][q]);
        }
        for (int j = p + 1; j < q; ++j) {
            rotate(m_a[p][j], m_a[j][q]);
        }
        for (int j = q + 1; j <= m_n; ++j) {
            rotate(m_a[p][j], m_a[q][j]);
        }
        for (int j = 1; j <= m_n; ++j) {
            rotate(m_v[j][p], m_v[j][q]);
        }
        ++*m_nrot;
    }

    double** m_a;
    int m_n;
    double* m_d;
    double** m_v;
    int* m_nrot;
    DoubleVector m_changes; ///< the sum of this sweep's changes to each diagonal element
    DoubleVector m_start;   ///< the diagonal at the start of this sweep
};

} // namespace

int jacobi(double** a, int n, double* d, double** v, int* nrot)
{
    if (n < 1) {
        *nrot = 0;
        return 1;
    }
    JacobiSweeps matrix(a, n, d, v, nrot);
    const double elements = static_cast<double>(n) * n;
    for (int i = 1; i <= max_sweeps; ++i) {
        const double sum = matrix.off_diagonal_sum();
        if (sum == 0.0) {
            return 1;
        }
        matrix.sweep(i <= sweeps_with_threshold ? 0.2 * sum / elements : 0.0, i > sweeps_before_dropping);
    }
    return 0;
}

void eigsrt(double* d, double** v, int n)
{
    for (int i = 1; i < n; ++i) {
        int largest = i;
        for (int j = i + 1; j <= n; ++j) {
            if (d[j] >= d[largest]) {
                largest = j;
            }
        }
        if (largest != i) {
            std::swap(d[i], d[largest]);
            for (int row = 1; row <= n; ++row) {
                std::swap(v[row][i], v[row][largest]);
            }
        }
    }
}
