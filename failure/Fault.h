// SPDX-License-Identifier: BSD-3-Clause
// What is wrong, as a value: whoever asked decides whether that ends anything.
#pragma once

#include <string>

namespace tonalign {

/// One line that names the file or argument, what was found and what was expected; empty when nothing is
/// wrong.
struct Fault
{
    std::string message;

    explicit operator bool() const { return !message.empty(); }
};

} // namespace tonalign
