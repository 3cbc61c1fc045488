// SPDX-License-Identifier: BSD-3-Clause
// Histogram files: plain text, one line per bin, bin centre, a tab, the bin's value.
#pragma once

#include "failure/Fault.h"

#include <string>

/// Writes bins 1..N of a histogram array, creating or replacing the file; whether it is there and whole.
///
/// Every number is written with up to 128 significant digits, which is its exact decimal value, so reading it
/// back gives the same bits. A file that cannot be created or written to its end is passed over silently, and
/// leaves what was there before; errno says why. Column N+1 is not written.
bool save_array(double** hist1, int N, const char* filename);

/// Reads bins 1..N into rows 1 and 2 of a histogram array.
///
/// Numbers are taken in pairs, separated by any white space; what follows the first 2 N numbers is ignored. A
/// file that cannot be read, has text in place of a number or ends early is a fault; entries behind that
/// place keep their values. The value of bin 1, the background, may be too large for a double. Column N+1 is
/// not touched.
tonalign::Fault load_array(double** hist1, int N, const char* filename);

namespace tonalign {

/// A target histogram file must be there, and if it is a regular file, not too short for N pairs however
/// tersely they are written. To be asked before memory is taken for the bins.
[[nodiscard]] Fault fault_of_histogram_length(const std::string& filename, int N);

/// Brings a histogram into the form of a computed one: bin 1 dropped, frequencies summing to 1, their sum
/// before that in column N+1.
///
/// Faults are a frequency that is negative or not finite, and frequencies outside bin 1 whose sum is too
/// small or too large to divide by; `name` is for the messages.
[[nodiscard]] Fault complete_target_histogram(double** hist2, int N, const std::string& name);

/// Reads a target histogram as load_array does, and completes it. Row 1 keeps the file's own bin centres.
[[nodiscard]] Fault load_target_histogram(double** hist2, int N, const std::string& filename);

} // namespace tonalign
