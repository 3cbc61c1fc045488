#pragma once

/// Histogram files: plain text, one line per bin, bin centre, a tab, the bin's value.

/// Writes bins 1..N of a histogram array, creating or replacing the file.
///
/// Every number is written with up to 128 significant digits, which is its exact decimal value, so reading it
/// back gives the same bits. A file that cannot be created or written to its end is passed over silently,
/// and leaves what was there before. Column N+1 is not written.
void save_array(double** hist1, int N, const char* filename);

/// Reads bins 1..N into rows 1 and 2 of a histogram array.
///
/// Numbers are taken in pairs, separated by any white space; what follows the first 2 N numbers is ignored. A
/// file that cannot be read, has text in place of a number or ends early ends the process with status 1 and
/// one line on standard error. Column N+1 is not touched.
void load_array(double** hist1, int N, const char* filename);

namespace tonalign {

/// save_array, and whether the file is there and whole. If not, errno is what the system said last.
bool save_histogram(double** hist, int N, const char* filename);

/// Ends the process with status 1 and one line on standard error when the file is missing, or a regular file
/// too short for N pairs however tersely they are written.
///
/// For use before memory is taken for the bins. What is no regular file passes: reading it will tell.
void require_room_for_pairs(const char* filename, int N);

/// Reads a target histogram as load_array does and brings it into the form of a computed one: bin 1 dropped,
/// frequencies summing to 1, their sum before that in column N+1.
///
/// Row 1 keeps the file's own bin centres. A frequency that is negative or not finite, or no mass outside bin
/// 1, ends the process with status 1 and one line on standard error.
void load_target_histogram(double** hist2, int N, const char* filename);

} // namespace tonalign
