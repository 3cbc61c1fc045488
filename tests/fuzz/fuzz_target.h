// SPDX-License-Identifier: BSD-3-Clause
// What the fuzz targets share. A target is one file with try_input().
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

namespace tonalign::test {

void try_input(std::string input);

/// Runs an action; false when it ended the process.
bool completes(const std::function<void()>& action);

/// An exception that nobody catches, when a promise is broken.
void require(bool kept, const char* promise);

/// A path in a folder of this process. Put TMPDIR on a memory disk for speed.
std::string scratch_file(const std::string& name);

/// Takes a value off the front of an input. Bytes past its end are 0.
template <typename T>
T take(std::string& input)
{
    T value{};
    std::memcpy(&value, input.data(), std::min(sizeof value, input.size()));
    input.erase(0, sizeof value);
    return value;
}

} // namespace tonalign::test
