// SPDX-License-Identifier: BSD-3-Clause
// The one place where the process ends, and the handler by which a host can do something else.
#pragma once

#include <initializer_list>
#include <iosfwd>
#include <string_view>

namespace tonalign {

/// Exit status of the failures that end a run by themselves.
enum class ExitStatus
{
    success = 0, ///< also the documented status of file, name and format errors of the Analyze layer
    failure = 1,
};

/// An end that a documented routine asks for: its text, in pieces to be written one after another, and its
/// status.
struct ProcessEnd
{
    std::ostream& stream;
    std::initializer_list<std::string_view> pieces;
    ExitStatus status;
};

/// Writes the text and gives the status with which the process ends. One that throws instead keeps it alive:
/// no routine ends from within a parallel region or a destructor, and what it owned is released.
using EndHandler = int (*)(const ProcessEnd&);

/// Replaces the handler, write_end at first, for all threads; gives the one before.
EndHandler set_end_handler(EndHandler handler);

/// Writes the pieces to their stream, with nothing between or behind them, and flushes it; gives the status.
int write_end(const ProcessEnd& end);

/// Ends the process through the handler.
///
/// Only routines that are documented to end the process come here; everything else gives a Fault to its
/// caller.
[[noreturn]] void end_process(std::ostream& stream, std::initializer_list<std::string_view> pieces,
                              ExitStatus status);

} // namespace tonalign
