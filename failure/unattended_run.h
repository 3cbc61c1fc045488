// SPDX-License-Identifier: BSD-3-Clause
// What a program does so that it may run where nobody watches.
#pragma once

namespace tonalign {

/// Prepares the process for trouble that nobody is there to see. For main, once, before anything else;
/// `program` is its name, a text that stays.
///
/// Exhausted memory that ends the process is told first, in one line on standard error: "<program>: memory
/// ran out while <stage>". A file that grows beyond the size that the process may write, and a pipe whose
/// reader has ended, become failed writes, as on a full disk, in place of signals. Standard streams that are
/// closed stay unusable: no file that is opened later takes their place.
void prepare_for_unattended_run(const char* program);

/// Flushes standard output; whether all that was ever written to it got there. If not, a prepared process
/// says so in one line on standard error. For the end of a run, which should end with its files written all
/// the same.
bool standard_output_written();

/// Names what the process does now, for the line above; a text that stays, such as "reading the volumes".
void enter_stage(const char* stage);

/// What enter_stage() named last, or "starting".
const char* present_stage();

} // namespace tonalign
