#pragma once

#include <string>

namespace tavrin {

/// Inspects a timeline file. `withRecords`: print every record instead of a summary. Throws
/// CommandError.
void inspectTimeline(const std::string& name, bool withRecords);

}  // namespace tavrin
