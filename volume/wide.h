// SPDX-License-Identifier: BSD-3-Clause
// Wider instructions, chosen when the program starts.
#pragma once

/// TONALIGN_WIDE marks a kernel that is compiled once for every x86-64 machine and once for those with AVX2;
/// the choice is made when the program starts, so one binary serves all. AVX2 brings no fused multiply-add,
/// and contraction is off besides: both versions give the same bits.
///
/// Builds with sanitizers, whose runtime is not up yet when that choice is made, take the portable version
/// alone, and so does Clang 14, which clones functions with external linkage only.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) &&     \
    !defined(__SANITIZE_THREAD__)
#define TONALIGN_WIDE __attribute__((target_clones("avx2", "default")))
#else
#define TONALIGN_WIDE
#endif

#include <cstddef>

namespace tonalign {

/// Four adjacent doubles of a row, operated on side by side. For the kernels that compilers, left alone, do
/// not vectorise along the row.
using Lanes = double __attribute__((vector_size(32)));
inline constexpr std::ptrdiff_t lane_count = 4;

/// Lanes at any address of a double array. A structure, since Clang gives a vector type that is declared with
/// a lower alignment its natural one all the same, and crashes on rows that start elsewhere.
struct __attribute__((packed, aligned(8), may_alias)) UnalignedLanes
{
    Lanes lanes;
};
static_assert(alignof(UnalignedLanes) == alignof(double));

/// The four doubles from p on; no alignment is asked of p.
inline const UnalignedLanes& lanes_at(const double* p)
{
    return *reinterpret_cast<const UnalignedLanes*>(p);
}
inline UnalignedLanes& lanes_at(double* p)
{
    return *reinterpret_cast<UnalignedLanes*>(p);
}

} // namespace tonalign
