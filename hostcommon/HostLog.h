#pragma once

#include <string>

#include "writers/host/HostApi.h"

/// What the host says to its user, through the same sinks and thresholds as the writers' log lines
/// (`PluginEnvironment`).
namespace pwr {

PW_HOST_API void fail(const std::string& text);    ///< "tavrin: error: …"
PW_HOST_API void warn(const std::string& text);    ///< "tavrin: warning: …"
PW_HOST_API void inform(const std::string& text);  ///< "tavrin: …", unless the user asked for quiet

}  // namespace pwr
