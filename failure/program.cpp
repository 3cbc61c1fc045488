#include "failure/program.h"

namespace tonalign {

namespace {

const char* name_of_program = "tonalign";
std::optional<int> status_of_failures;

} // namespace

void act_as(const char* name, int failure_status)
{
    name_of_program = name;
    status_of_failures = failure_status;
}

const char* program_name()
{
    return name_of_program;
}

std::optional<int> status_of_every_failure()
{
    return status_of_failures;
}

} // namespace tonalign
