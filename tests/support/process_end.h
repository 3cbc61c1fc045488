#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

namespace tonalign::test {

/// Sends standard output to standard error with "[out]" before each line, so that one text tells what was
/// written, in which order and to which stream.
class MarkedOutput : public std::streambuf
{
    int_type overflow(int_type c) override
    {
        std::cerr << (m_atLineStart ? "[out]" : "") << traits_type::to_char_type(c);
        m_atLineStart = c == '\n';
        return c;
    }
    bool m_atLineStart = true;
};

/// An action that ends the process, the exit status and everything it writes, blanks included.
struct ProcessEnd
{
    std::function<void()> action;
    int status;
    std::string text;
};

inline void expect_ends(const std::vector<ProcessEnd>& ends)
{
    for (const ProcessEnd& end : ends) {
        const auto act = [&end] {
            std::cout.rdbuf(new MarkedOutput); // outlives the flush at exit
            end.action();
        };
        EXPECT_EXIT(act(), ::testing::ExitedWithCode(end.status), ::testing::StrEq(end.text));
    }
}

} // namespace tonalign::test
