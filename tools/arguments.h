// SPDX-License-Identifier: BSD-3-Clause
// The arguments of the small commands, which have no options of their own but --help and --version.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace tonalign {

/// What a command line asks for. Operands are the arguments without options, and everything behind "--".
struct Arguments
{
    std::vector<const char*> operands;
    bool help = false;
    bool version = false;
    std::string unknown_option; ///< the first one; empty when there is none
};

/// @param arguments  without the program's name
Arguments parse_arguments(std::span<char*> arguments);

} // namespace tonalign
