// SPDX-License-Identifier: BSD-3-Clause
// The rule that turns a name into those of an image pair.
#pragma once

#include <string>
#include <string_view>

namespace tonalign {

/// What is left of a name longer than four characters whose fourth to second last are ".im" or ".hd" without
/// its last four; any other name as it is. So brain, brain.img, brain.hdr and brain.imx all mean the pair
/// brain.
inline std::string_view base_of_pair(std::string_view name)
{
    const std::string_view extension = name.size() > 4 ? name.substr(name.size() - 4, 3) : std::string_view();
    return extension == ".im" || extension == ".hd" ? name.substr(0, name.size() - 4) : name;
}

/// The two files of a pair.
struct PairNames
{
    explicit PairNames(std::string_view name)
        : header(std::string(base_of_pair(name)) + ".hdr"), image(std::string(base_of_pair(name)) + ".img")
    {
    }

    std::string header;
    std::string image;
};

} // namespace tonalign
