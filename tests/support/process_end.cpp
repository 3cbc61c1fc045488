// SPDX-License-Identifier: BSD-3-Clause
// In every test program: an end of the process that no test asked for fails the test, whatever its status.
#include "tests/support/process_end.h"

#include "failure/end_process.h"

#include <iostream>
#include <sstream>
#include <stdexcept>

namespace tonalign::test {

namespace {

class MarkedOutput : public std::streambuf
{
public:
    explicit MarkedOutput(std::ostream& text) : m_text(text) {}

private:
    int_type overflow(int_type c) override
    {
        m_text << (m_at_line_start ? "[out]" : "") << traits_type::to_char_type(c);
        m_at_line_start = c == '\n';
        return c;
    }
    std::ostream& m_text;
    bool m_at_line_start = true;
};

int fail_the_test(const tonalign::ProcessEnd& end)
{
    const int status = write_end(end);
    if (testing::internal::InDeathTestChild()) {
        return status;
    }
    throw std::logic_error("the process would have ended with status " + std::to_string(status));
}

int throw_status(const tonalign::ProcessEnd& end)
{
    throw ExitStatus(write_end(end));
}

[[maybe_unused]] const EndHandler handler_before = set_end_handler(fail_the_test);

} // namespace

Ended ended(const std::function<void()>& action)
{
    std::ostringstream text;
    MarkedOutput marked(text);
    std::streambuf* const out = std::cout.rdbuf(&marked);
    std::streambuf* const err = std::cerr.rdbuf(text.rdbuf());
    const EndHandler before = set_end_handler(throw_status);
    int status = -1;
    try {
        action();
    } catch (const ExitStatus& with) {
        status = static_cast<int>(with);
    } catch (const std::exception& thrown) {
        text << "thrown: " << thrown.what();
    }
    set_end_handler(before);
    std::cout.rdbuf(out);
    std::cerr.rdbuf(err);
    return {status, text.str()};
}

} // namespace tonalign::test
