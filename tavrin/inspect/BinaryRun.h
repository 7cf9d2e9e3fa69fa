#pragma once

#include "tavrin/inspect/FileRun.h"

namespace tavrin {

/// Inspects a run of the binary writer. `withPoints`: print every point instead of a summary.
/// Throws CommandError.
void inspectBinary(const FileRun& run, bool withPoints);

}  // namespace tavrin
