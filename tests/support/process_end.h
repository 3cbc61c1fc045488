#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <streambuf>
#include <string>

namespace tonalign::test {

/// Sends standard output to standard error with "[out]" before each line, so that one text tells what was
/// written, in which order and to which stream.
class MarkedOutput : public std::streambuf
{
protected:
    int_type overflow(int_type c) override
    {
        if (m_atLineStart) {
            std::cerr << "[out]";
        }
        std::cerr.put(traits_type::to_char_type(c));
        m_atLineStart = c == '\n';
        return c;
    }

private:
    bool m_atLineStart = true;
};

/// An action that ends the process, the exit status and everything it writes, blanks included.
struct ProcessEnd
{
    std::function<void()> action;
    int status;
    std::string text;
};

inline void expect_end(const ProcessEnd& end)
{
    const auto act = [&end] {
        std::cout.rdbuf(new MarkedOutput); // outlives the flush at exit
        end.action();
    };
    EXPECT_EXIT(act(), ::testing::ExitedWithCode(end.status), ::testing::StrEq(end.text));
}

} // namespace tonalign::test
