#pragma once

#include "tavrin/inspect/FileRun.h"

namespace tavrin {

/// Inspects the JSON trace of a whole run, or the numbered files of a continuous one. `withPoints`:
/// print every point instead of a summary. Throws CommandError.
void inspectTrace(const FileRun& run, bool withPoints);

}  // namespace tavrin
