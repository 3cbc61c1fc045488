#pragma once

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <string_view>

namespace tonalign {

/// Exit status of the failures that end a run by themselves.
enum class ExitStatus
{
    success = 0, ///< also the documented status of file, name and format errors of the Analyze layer
    failure = 1,
};

/// Writes the pieces one after another to `stream`, flushes it and ends the process.
///
/// Every place that ends the process comes through here, so this is the one spot to look at (or to
/// break at in a debugger) when a run stops early. Nothing is added between or after the pieces: a
/// documented text that has no line end stays without one.
[[noreturn]] void end_process(std::ostream& stream, std::initializer_list<std::string_view> pieces,
                              ExitStatus status);

/// Ends the process with status 1 after one line on standard error: "tonalign: <message>". Of another program
/// they are its own name and status, see failure/program.h.
///
/// For everything a user can get wrong and no older text is promised for. The message names the file or
/// argument, what was found and what was expected.
[[noreturn]] void refuse(const std::string& message);

} // namespace tonalign
