// SPDX-License-Identifier: BSD-3-Clause
// Tells options from operands.
#include "tools/arguments.h"

#include <string_view>

namespace tonalign {

Arguments parse_arguments(std::span<char*> arguments)
{
    Arguments result;
    bool options_end = false;
    for (const char* const argument : arguments) {
        const std::string_view text = argument;
        if (options_end || text.size() < 2 || !text.starts_with('-')) {
            result.operands.push_back(argument);
        } else if (text == "--") {
            options_end = true;
        } else if (text == "--help") {
            result.help = true;
        } else if (text == "--version") {
            result.version = true;
        } else if (result.unknown_option.empty()) {
            result.unknown_option = text;
        }
    }
    return result;
}

} // namespace tonalign
