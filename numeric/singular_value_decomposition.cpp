// SPDX-License-Identifier: BSD-3-Clause
// Singular value decomposition of float matrices.
#include "numeric/OffsetArrays.h"
#include "numeric/classNRUTILS.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace {

using FloatVector = tonalign::OffsetVector<float>;

float with_sign_of(float magnitude, float signed_value)
{
    return signed_value >= 0.0F ? std::abs(magnitude) : -std::abs(magnitude);
}

/// A Householder reflection that maps a vector onto `norm_with_sign` times its first unit vector.
///
/// All lengths are relative to `scale`, the sum of the vector's absolute values; a scale of 0 means that the
/// vector is zero and there is nothing to reflect.
struct Reflection
{
    float scale = 0.0F;
    float norm_with_sign = 0.0F;
    float negative_half_square = 0.0F; ///< minus half the squared length of the reflection's normal vector

    float mapped_value() const { return scale * norm_with_sign; }
};

/// Replaces element(first)..element(last) by the scaled normal vector of the reflection that is returned.
template <typename Element>
Reflection make_reflection(int first, int last, Element element)
{
    Reflection reflection;
    for (int k = first; k <= last; ++k) {
        reflection.scale += std::abs(element(k));
    }
    if (reflection.scale == 0.0F) {
        return reflection;
    }
    float squares = 0.0F;
    for (int k = first; k <= last; ++k) {
        element(k) /= reflection.scale;
        squares += element(k) * element(k);
    }
    const float head = element(first);
    reflection.norm_with_sign = -with_sign_of(std::sqrt(squares), head);
    reflection.negative_half_square = head * reflection.norm_with_sign - squares;
    element(first) = head - reflection.norm_with_sign;
    return reflection;
}

/// Clears column i below the diagonal; returns the diagonal element. The normal vector stays in the column.
float reduce_column(float** a, int m, int n, int i)
{
    const Reflection reflection = make_reflection(i, m, [a, i](int k) -> float& { return a[k][i]; });
    if (reflection.scale == 0.0F) {
        return 0.0F;
    }
    for (int j = i + 1; j <= n; ++j) {
        float projection = 0.0F;
        for (int k = i; k <= m; ++k) {
            projection += a[k][i] * a[k][j];
        }
        const float factor = projection / reflection.negative_half_square;
        for (int k = i; k <= m; ++k) {
            a[k][j] += factor * a[k][i];
        }
    }
    for (int k = i; k <= m; ++k) {
        a[k][i] *= reflection.scale;
    }
    return reflection.mapped_value();
}

/// Clears row i right of the superdiagonal; returns the superdiagonal element. The normal vector stays in the
/// row; quotients[i + 1..n] is scratch.
float reduce_row(float** a, int m, int n, int i, float* quotients)
{
    const Reflection reflection = make_reflection(i + 1, n, [a, i](int k) -> float& { return a[i][k]; });
    if (reflection.scale == 0.0F) {
        return 0.0F;
    }
    for (int k = i + 1; k <= n; ++k) {
        quotients[k] = a[i][k] / reflection.negative_half_square;
    }
    for (int j = i + 1; j <= m; ++j) {
        float projection = 0.0F;
        for (int k = i + 1; k <= n; ++k) {
            projection += a[j][k] * a[i][k];
        }
        for (int k = i + 1; k <= n; ++k) {
            a[j][k] += projection * quotients[k];
        }
    }
    for (int k = i + 1; k <= n; ++k) {
        a[i][k] *= reflection.scale;
    }
    return reflection.mapped_value();
}

/// Reduces a to the bidiagonal form with diagonal w and superdiagonal e (e[i] above w[i], e[1] = 0) and
/// leaves the reflections' normal vectors in a. Returns the largest |w[i]| + |e[i]|.
float bidiagonalise(float** a, int m, int n, float* w, float* e)
{
    const FloatVector quotients(1, n);
    float norm = 0.0F;
    e[1] = 0.0F;
    for (int i = 1; i <= n; ++i) {
        w[i] = i <= m ? reduce_column(a, m, n, i) : 0.0F;
        if (i < n) {
            e[i + 1] = i <= m ? reduce_row(a, m, n, i, quotients) : 0.0F;
        }
        norm = std::max(std::abs(w[i]) + std::abs(e[i]), norm);
    }
    return norm;
}

/// Multiplies the row reflections together into v.
void accumulate_right(float** a, int n, const float* e, float** v)
{
    for (int i = n; i >= 1; --i) {
        const int next = i + 1;
        if (i < n && e[next] != 0.0F) {
            for (int j = next; j <= n; ++j) {
                v[j][i] = (a[i][j] / a[i][next]) / e[next]; // two divisions: the product could underflow
            }
            for (int j = next; j <= n; ++j) {
                float projection = 0.0F;
                for (int k = next; k <= n; ++k) {
                    projection += a[i][k] * v[k][j];
                }
                for (int k = next; k <= n; ++k) {
                    v[k][j] += projection * v[k][i];
                }
            }
        }
        for (int j = next; j <= n; ++j) {
            v[i][j] = 0.0F;
            v[j][i] = 0.0F;
        }
        v[i][i] = 1.0F;
    }
}

/// Multiplies the column reflections together into a, whose lower trapezium holds their normal vectors.
void accumulate_left(float** a, int m, int n, const float* w)
{
    for (int i = std::min(m, n); i >= 1; --i) {
        for (int j = i + 1; j <= n; ++j) {
            a[i][j] = 0.0F;
        }
        if (w[i] == 0.0F) {
            for (int k = i; k <= m; ++k) {
                a[k][i] = 0.0F;
            }
        } else {
            const float reciprocal = 1.0F / w[i];
            for (int j = i + 1; j <= n; ++j) {
                float projection = 0.0F;
                for (int k = i + 1; k <= m; ++k) {
                    projection += a[k][i] * a[k][j];
                }
                const float factor = (projection / a[i][i]) * reciprocal;
                for (int k = i; k <= m; ++k) {
                    a[k][j] += factor * a[k][i];
                }
            }
            for (int k = i; k <= m; ++k) {
                a[k][i] *= reciprocal;
            }
        }
        a[i][i] += 1.0F;
    }
}

/// A plane rotation by the angle with this cosine and sine.
struct Rotation
{
    float c;
    float s;

    void apply_to_columns(float** x, int rows, int p, int q) const
    {
        for (int j = 1; j <= rows; ++j) {
            const float xp = x[j][p];
            const float xq = x[j][q];
            x[j][p] = xp * c + xq * s;
            x[j][q] = xq * c - xp * s;
        }
    }
};

/// The bidiagonal form as it is reduced to a diagonal one, with the two factors that collect the rotations.
class BidiagonalForm
{
public:
    BidiagonalForm(float** u, int m, int n, float* w, float* e, float** v, float norm)
        : m_u(u), m_m(m), m_n(n), m_w(w), m_e(e), m_v(v), m_norm(norm)
    {
    }

    /// Brings e[k] to 0, so that w[k] becomes a singular value.
    void diagonalise_value(int k)
    {
        constexpr int max_iterations = 30;
        for (int iteration = 1; iteration <= max_iterations; ++iteration) {
            const int l = split_off_block(k);
            if (l == k) {
                make_non_negative(k);
                return;
            }
            if (iteration == max_iterations) {
                std::cerr << "no convergence in 30 svdcmp iterations\n";
            }
            qr_step(l, k);
        }
    }

private:
    bool negligible(float value) const { return std::abs(value) + m_norm == m_norm; }

    /// The first index of the block that ends at k and has no negligible superdiagonal element.
    int split_off_block(int k)
    {
        // e[1] is 0 and would end the search; the bound keeps it in the arrays when the norm is not a number.
        for (int l = k; l > 1; --l) {
            if (negligible(m_e[l])) {
                return l;
            }
            if (negligible(m_w[l - 1])) {
                cancel_superdiagonal(l, k);
                return l;
            }
        }
        return 1;
    }

    /// Rotates e[l] away, which is possible because w[l - 1] is negligible.
    void cancel_superdiagonal(int l, int k)
    {
        Rotation rotation = {0.0F, 1.0F};
        for (int i = l; i <= k; ++i) {
            const float f = rotation.s * m_e[i];
            m_e[i] = rotation.c * m_e[i];
            if (negligible(f)) {
                return;
            }
            const float g = m_w[i];
            m_w[i] = classNRUTILS::pythag(f, g);
            const float reciprocal = 1.0F / m_w[i];
            rotation = {g * reciprocal, -f * reciprocal};
            rotation.apply_to_columns(m_u, m_m, l - 1, i);
        }
    }

    void make_non_negative(int k)
    {
        if (m_w[k] < 0.0F) {
            m_w[k] = -m_w[k];
            for (int j = 1; j <= m_n; ++j) {
                m_v[j][k] = -m_v[j][k];
            }
        }
    }

    /// The first element of the shifted matrix's leading column over w[l]; the shift is the eigenvalue of the
    /// block's trailing 2 x 2 minor that lies closer to its last element.
    float shifted_start(int l, int k) const
    {
        const float x = m_w[l];
        const float y = m_w[k - 1];
        const float z = m_w[k];
        const float g = m_e[k - 1];
        const float h = m_e[k];
        const float gap = (y - z) * (y + z) + (g - h) * (g + h);
        const float f = static_cast<float>(gap / (2.0 * h * y));
        const float root = with_sign_of(classNRUTILS::pythag(f, 1.0F), f);
        return ((x - z) * (x + z) + h * (y / (f + root) - h)) / x;
    }

    /// One QR step on rows l..k: chases the bulge down with alternating rotations from right and left.
    void qr_step(int l, int k)
    {
        float f = shifted_start(l, k);
        float x = m_w[l];
        Rotation rotation = {1.0F, 1.0F}; // passes the first superdiagonal element on unchanged
        for (int j = l; j < k; ++j) {
            const int i = j + 1;
            const float bulge = rotation.s * m_e[i];
            float g = rotation.c * m_e[i];
            m_e[j] = classNRUTILS::pythag(f, bulge);
            if (m_e[j] != 0.0F) { // with no bulge any rotation will do: keep the last
                rotation = {f / m_e[j], bulge / m_e[j]};
            }
            f = x * rotation.c + g * rotation.s;
            g = g * rotation.c - x * rotation.s;
            const float h = m_w[i] * rotation.s;
            const float y = m_w[i] * rotation.c;
            rotation.apply_to_columns(m_v, m_n, j, i);

            m_w[j] = classNRUTILS::pythag(f, h);
            if (m_w[j] != 0.0F) {
                const float reciprocal = 1.0F / m_w[j];
                rotation = {f * reciprocal, h * reciprocal};
            }
            f = rotation.c * g + rotation.s * y;
            x = rotation.c * y - rotation.s * g;
            rotation.apply_to_columns(m_u, m_m, j, i);
        }
        m_e[l] = 0.0F;
        m_e[k] = f;
        m_w[k] = x;
    }

    float** m_u;
    int m_m;
    int m_n;
    float* m_w;
    float* m_e;
    float** m_v;
    float m_norm;
};

} // namespace

float classNRUTILS::pythag(float a, float b)
{
    const float abs_a = std::abs(a);
    const float abs_b = std::abs(b);
    const auto hypotenuse = [](float longer, float shorter) {
        const float quotient = shorter / longer;
        const float square = quotient == 0.0F ? 0.0F : quotient * quotient;
        return static_cast<float>(longer * std::sqrt(1.0 + square));
    };
    if (abs_a > abs_b) {
        return hypotenuse(abs_a, abs_b);
    }
    return abs_b == 0.0F ? 0.0F : hypotenuse(abs_b, abs_a);
}

void classNRUTILS::svdcmp(float** a, int m, int n, float* w, float** v)
{
    if (n < 1) {
        return;
    }
    const FloatVector e(1, n);
    const float norm = bidiagonalise(a, m, n, w, e);
    accumulate_right(a, n, e, v);
    accumulate_left(a, m, n, w);
    BidiagonalForm form(a, m, n, w, e, v, norm);
    for (int k = n; k >= 1; --k) {
        form.diagonalise_value(k);
    }
}
