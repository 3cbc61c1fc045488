// SPDX-License-Identifier: BSD-3-Clause
// What a run demands of its inputs.
#pragma once

#include "driver/RunParameters.h"
#include "failure/Fault.h"
#include "volume/IntensityRange.h"

#include <string>

namespace tonalign {

/// Ends the process with status 1 after one line on standard error: "tonalign: <message>".
///
/// For everything a user can get wrong and no older text is promised for. The message names the file or
/// argument, what was found and what was expected.
[[noreturn]] void refuse(const std::string& message);

/// Refuses a fault, if it is one.
void refuse(const Fault& fault);

// What a run demands of its volumes; each function refuses them otherwise.

/// A histogram array of `bins` bins must count at least one voxel outside the background bin.
void require_foreground(double** hist, int bins, const std::string& name);

/// The endpoint stage must leave the input volume finite, and with more than one intensity when it is ranked
/// next.
void require_usable_adjustment(const IntensityRange& range, const RunParameters& parameters);

/// The common range of a run's volumes must not be empty, nor so narrow or wide that mapping it onto [0, 255]
/// leaves the finite numbers.
void require_mappable_range(const IntensityRange& range, const RunParameters& parameters);

} // namespace tonalign
