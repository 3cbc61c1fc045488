// SPDX-License-Identifier: BSD-3-Clause
// What an action tells and how it would end the process, as one text; and a folder to work in.
#pragma once

#include "failure/end_process.h"
#include "tests/support/analyze_files.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <sstream>

namespace tonalign::test {

template <typename Action>
std::string told(Action action)
{
    std::ostringstream out;
    std::ostringstream err;
    std::streambuf* const before[] = {std::cout.rdbuf(out.rdbuf()), std::cerr.rdbuf(err.rdbuf())};
    const EndHandler handler =
        set_end_handler([](const ProcessEnd& end) -> int { throw ExitStatus(write_end(end)); });
    try {
        action();
    } catch (ExitStatus status) {
        err << "[ends " << static_cast<int>(status) << "]";
    }
    set_end_handler(handler);
    std::cout.rdbuf(before[0]);
    std::cerr.rdbuf(before[1]);
    return (out.str().empty() ? "" : "[out]" + out.str()) + err.str();
}

struct Folder : ::testing::Test
{
    Folder() { std::filesystem::current_path(m_directory.path()); }
    ~Folder() override { std::filesystem::current_path("/"); }
    static auto fileCount() { return std::distance(std::filesystem::directory_iterator("."), {}); }

    const TemporaryDirectory m_directory;
    std::mt19937 m_random{7};
};

} // namespace tonalign::test
