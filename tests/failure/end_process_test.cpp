// SPDX-License-Identifier: BSD-3-Clause
// The end of the process, and what a host can put in its place.
#include "failure/end_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <stdexcept>

namespace {

using tonalign::end_process;
using tonalign::ExitStatus;

int throw_text(const tonalign::ProcessEnd& end)
{
    std::ostringstream text;
    EXPECT_EQ(tonalign::write_end({text, end.pieces, end.status}), 1);
    throw std::runtime_error(text.str());
}

int give_other_status(const tonalign::ProcessEnd& end)
{
    tonalign::write_end(end);
    return 3;
}

TEST(EndProcess, WritesItsPiecesAndNothingElse)
{
    EXPECT_EXIT(end_process(std::cerr, {"one ", "two"}, ExitStatus::failure), ::testing::ExitedWithCode(1),
                ::testing::StrEq("one two"));
    EXPECT_EXIT(end_process(std::cerr, {"name\n"}, ExitStatus::success), ::testing::ExitedWithCode(0),
                ::testing::StrEq("name\n"));
}

TEST(EndProcess, GoesThroughAHandlerThatMayChangeTheStatusOrKeepTheProcess)
{
    const tonalign::EndHandler first = tonalign::set_end_handler(give_other_status);
    EXPECT_EXIT(end_process(std::cerr, {"text"}, ExitStatus::success), ::testing::ExitedWithCode(3), "text");
    EXPECT_EQ(tonalign::set_end_handler(throw_text), give_other_status);
    try {
        end_process(std::cerr, {"a", "b"}, ExitStatus::failure);
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "ab");
    }
    EXPECT_EQ(tonalign::set_end_handler(first), throw_text);
}

} // namespace
