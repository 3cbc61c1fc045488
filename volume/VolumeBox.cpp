// SPDX-License-Identifier: BSD-3-Clause
// How a bad box ends the process.
#include "volume/VolumeBox.h"

#include "failure/end_process.h"

#include <iostream>

namespace tonalign {

void require_good_box(const AxisRange& x, const AxisRange& y, const AxisRange& z)
{
    if (!x.isGood()) {
        end_process(std::cerr, {"Dimensions not good in X \n"}, ExitStatus::failure);
    }
    if (!y.isGood()) {
        end_process(std::cerr, {"Dimensions not good in Y \n"}, ExitStatus::failure);
    }
    if (!z.isGood()) {
        end_process(std::cerr, {"Dimensions not good in Z \n"}, ExitStatus::failure);
    }
}

std::int64_t element_count(std::int64_t nx, std::int64_t ny, std::int64_t nz)
{
    std::int64_t count = 0;
    if (__builtin_mul_overflow(nx, ny, &count) || __builtin_mul_overflow(count, nz, &count)) {
        return -1;
    }
    return count;
}

void end_without_memory()
{
    end_process(std::cerr, {" Failed to allocate Memory \n"}, ExitStatus::failure);
}

void end_on_null_array()
{
    end_process(std::cerr, {" Null array being initialized in assignment\n"}, ExitStatus::failure);
}

void end_on_empty_source()
{
    end_process(std::cerr,
                {" Inside Copy operator = \n",
                 " Array to be copied from is Empty, copy not defined....bailing out \n"},
                ExitStatus::success);
}

void end_on_different_dimensions()
{
    end_process(std::cerr,
                {" Inside Copy operator = \n", "Array3D<T>::= Array3D's have different dimensions.\n"},
                ExitStatus::failure);
}

} // namespace tonalign
