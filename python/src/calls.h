// SPDX-License-Identifier: BSD-3-Clause
// How Python waits for the library: without its lock, and ready to be interrupted.
#pragma once

#include "exactmatch/MatchingLimits.h"
#include "failure/Fault.h"
#include "failure/end_process.h"

#include <functional>

namespace tonalign::python {

/// Raises ValueError for a fault, if it is one.
void raise(const Fault& fault);

/// In place of the end of the process: raises MemoryError where memory was refused, else ValueError.
int throw_end(const ProcessEnd& end);

/// Runs some work in a thread of its own, on so many OpenMP threads, or as many as OpenMP likes for 0, and
/// rethrows what it throws.
///
/// The interpreter's lock is released meanwhile. A signal that Python answers with an exception, as Ctrl-C,
/// sets the flag, which the work looks at, and the exception leaves once the work has ended.
void call(int threads, const std::function<void(const StopFlag&)>& work);

} // namespace tonalign::python
