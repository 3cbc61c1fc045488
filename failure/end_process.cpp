#include "failure/end_process.h"

#include <cstdlib>
#include <iostream>

namespace tonalign {

void end_process(std::ostream& stream, std::initializer_list<std::string_view> pieces, ExitStatus status)
{
    for (const std::string_view piece : pieces) {
        stream << piece;
    }
    stream.flush();
    std::exit(static_cast<int>(status));
}

void refuse(const std::string& message)
{
    end_process(std::cerr, {"tonalign: ", message, "\n"}, ExitStatus::failure);
}

} // namespace tonalign
