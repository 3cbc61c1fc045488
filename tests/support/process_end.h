// SPDX-License-Identifier: BSD-3-Clause
// What a routine that ends the process would have ended it with; seen without ending the test program.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>

namespace tonalign::test {

/// How an action ended the process: the status, -1 when it did not, and everything it wrote, blanks included,
/// with "[out]" before each line of standard output, so that one text tells what went where in which order.
struct Ended
{
    int status;
    std::string text;
    bool operator==(const Ended&) const = default;
    friend void PrintTo(const Ended& e, std::ostream* out) { *out << e.status << ": " << e.text; }
};

/// The exit is replaced by an exception, which must not leave a destructor or a parallel region.
Ended ended(const std::function<void()>& action);

} // namespace tonalign::test
