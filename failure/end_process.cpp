// SPDX-License-Identifier: BSD-3-Clause
// The handler, and the only exit.
#include "failure/end_process.h"

#include "failure/unattended_run.h"

#include <atomic>
#include <cstdlib>
#include <ostream>

namespace tonalign {

namespace {

std::atomic<EndHandler> present_handler = write_end;

} // namespace

EndHandler set_end_handler(EndHandler handler)
{
    return present_handler.exchange(handler);
}

int write_end(const ProcessEnd& end)
{
    for (const std::string_view piece : end.pieces) {
        end.stream << piece;
    }
    end.stream.flush();
    standard_output_written();
    return static_cast<int>(end.status);
}

void end_process(std::ostream& stream, std::initializer_list<std::string_view> pieces, ExitStatus status)
{
    const EndHandler handler = present_handler;
    std::exit(handler({stream, pieces, status}));
}

} // namespace tonalign
