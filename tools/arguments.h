// SPDX-License-Identifier: BSD-3-Clause
// The arguments of the small commands.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tonalign {

/// What a command line asks for. Operands are the arguments without options, and everything behind "--".
struct Arguments
{
    std::vector<const char*> operands;
    bool help = false;
    bool version = false;
    std::vector<std::pair<std::string, std::string>> options; ///< of the command's own, with their values
    std::string unknown_option; ///< the first one, or one without its value; empty when there is none
};

/// @param arguments  without the program's name
/// @param flags      the command's own options; they come with an empty value
/// @param valued     those that take the next argument as their value
Arguments parse_arguments(std::span<char*> arguments, std::initializer_list<std::string_view> flags = {},
                          std::initializer_list<std::string_view> valued = {});

} // namespace tonalign
