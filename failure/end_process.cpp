#include "failure/end_process.h"

#include "failure/program.h"
#include "failure/unattended_run.h"

#include <cstdlib>
#include <iostream>

namespace tonalign {

namespace {

[[noreturn]] void write_and_end(std::ostream& stream, std::initializer_list<std::string_view> pieces,
                                ExitStatus status)
{
    for (const std::string_view piece : pieces) {
        stream << piece;
    }
    stream.flush();
    standard_output_written();
    std::exit(status_of_every_failure().value_or(static_cast<int>(status)));
}

} // namespace

void end_process(std::ostream& stream, std::initializer_list<std::string_view> pieces, ExitStatus status)
{
    if (status_of_every_failure()) {
        // The older texts name neither the program nor, all of them, the file.
        std::cerr << program_name() << ": failed while " << present_stage() << '\n';
    }
    write_and_end(stream, pieces, status);
}

void refuse(const std::string& message)
{
    write_and_end(std::cerr, {program_name(), ": ", message, "\n"}, ExitStatus::failure);
}

} // namespace tonalign
