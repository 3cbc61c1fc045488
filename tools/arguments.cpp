// SPDX-License-Identifier: BSD-3-Clause
// Tells options from operands.
#include "tools/arguments.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace tonalign {

Arguments parse_arguments(std::span<char*> arguments, std::initializer_list<std::string_view> flags,
                          std::initializer_list<std::string_view> valued)
{
    const auto is_among = [](std::string_view option, std::initializer_list<std::string_view> options) {
        return std::find(options.begin(), options.end(), option) != options.end();
    };
    Arguments result;
    bool options_end = false;
    for (std::size_t k = 0; k < arguments.size(); ++k) {
        const char* const argument = arguments[k];
        const std::string_view text = argument;
        if (options_end || text.size() < 2 || !text.starts_with('-')) {
            result.operands.push_back(argument);
        } else if (text == "--") {
            options_end = true;
        } else if (text == "--help") {
            result.help = true;
        } else if (text == "--version") {
            result.version = true;
        } else if (is_among(text, flags)) {
            result.options.emplace_back(text, "");
        } else if (is_among(text, valued) && k + 1 < arguments.size()) {
            result.options.emplace_back(text, arguments[++k]);
        } else if (result.unknown_option.empty()) {
            result.unknown_option = text;
        }
    }
    return result;
}

} // namespace tonalign
