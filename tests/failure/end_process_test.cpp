// SPDX-License-Identifier: BSD-3-Clause
// The end of the process, and what a host can put in its place.
#include "failure/end_process.h"
#include "tests/support/process_end.h"

#include <iostream>

namespace {

using tonalign::end_process;
using tonalign::ExitStatus;
using tonalign::test::Ended;
using tonalign::test::ended;

TEST(EndProcess, WritesItsPiecesAndNothingElse)
{
    const auto succeed = [] { end_process(std::cout, {"a", "b\n"}, ExitStatus::success); };
    EXPECT_EQ(ended(succeed), (Ended{0, "[out]ab\n"}));
    EXPECT_EQ(ended([] { end_process(std::cerr, {"ab"}, ExitStatus::failure); }), (Ended{1, "ab"}));
}

TEST(EndProcess, EndsWithTheStatusOfAHandlerThatReturns)
{
    const tonalign::EndHandler give_3 = [](const tonalign::ProcessEnd& end) { return write_end(end) + 3; };
    const tonalign::EndHandler before = tonalign::set_end_handler(give_3);
    EXPECT_EXIT(end_process(std::cerr, {"te", "xt"}, ExitStatus::success), ::testing::ExitedWithCode(3),
                ::testing::StrEq("text"));
    EXPECT_EQ(tonalign::set_end_handler(before), give_3);
}

} // namespace
