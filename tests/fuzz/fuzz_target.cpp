#include "tests/fuzz/fuzz_target.h"

#include "tests/support/scratch_files.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <streambuf>

namespace {

/// Takes everything and keeps nothing.
class NullBuffer : public std::streambuf
{
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

/// The texts are formatted as ever, but thousands of runs a second need not be read.
class SilentConsole
{
public:
    SilentConsole() : m_output(std::cout.rdbuf(&m_nothing)), m_error(std::cerr.rdbuf(&m_nothing)) {}
    ~SilentConsole()
    {
        std::cout.rdbuf(m_output);
        std::cerr.rdbuf(m_error);
    }
    SilentConsole(const SilentConsole&) = delete;
    SilentConsole& operator=(const SilentConsole&) = delete;

private:
    NullBuffer m_nothing;
    std::streambuf* m_output;
    std::streambuf* m_error;
};

const SilentConsole silent_console;

} // namespace

/// Read by the leak checker: Clang's OpenMP library never returns what it keeps for a team of another size.
extern "C" const char* __lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "leak:libomp";
}

namespace {

int throw_end(const tonalign::ProcessEnd& end)
{
    write_end(end);
    throw tonalign::test::ProcessEnded{end.status};
}

[[maybe_unused]] const tonalign::EndHandler replaced = tonalign::set_end_handler(throw_end);

} // namespace

namespace tonalign::test {

void require(bool kept, const char* promise)
{
    if (!kept) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

std::string scratch_file(const std::string& name)
{
    static const TemporaryDirectory directory;
    return directory.path() / name;
}

} // namespace tonalign::test
