#pragma once

#include <optional>

namespace tonalign {

/// Says that this process is another program than tonalign. For main, once, before anything else.
///
/// From then on `name`, a text that stays, starts the lines of refuse() and of exhausted memory; every
/// end_process() gives `failure_status`, whatever status is documented for tonalign, and says first, in one
/// line on standard error, what the process was doing.
void act_as(const char* name, int failure_status);

/// The name that act_as() gave, or "tonalign".
const char* program_name();

/// The status that act_as() gave; none in tonalign, where each end has its own.
std::optional<int> status_of_every_failure();

} // namespace tonalign
