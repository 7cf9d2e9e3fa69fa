#pragma once

#include <string>

/// What the command says to its user, on standard error, through the same sink and thresholds as
/// the writers' log lines.
namespace tavrin {

void fail(const std::string& text);    ///< "tavrin: error: …"
void warn(const std::string& text);    ///< "tavrin: warning: …"
void inform(const std::string& text);  ///< "tavrin: …", unless the user asked for quiet

}  // namespace tavrin
