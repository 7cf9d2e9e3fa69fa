#pragma once

#include <string>

namespace tavrin {

/// Inspects a JSON trace. `withPoints`: print every point instead of a summary. Throws
/// CommandError.
void inspectTrace(const std::string& name, bool withPoints);

}  // namespace tavrin
