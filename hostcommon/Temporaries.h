#pragma once

#include "writers/host/HostApi.h"

namespace pwr {

/// Deletes every temporary file and folder that was noted and not forgotten, folders with all they
/// contain: for a process that is about to be aborted. May be called from any thread, once. Whoever
/// notes a temporary file from then on waits for the end of the process.
PW_HOST_API void removeTemporaries();

}  // namespace pwr
