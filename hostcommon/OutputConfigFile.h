#pragma once

#include <string>

#include "writers/host/HostApi.h"

namespace pwr {

/// Loads the output configuration file (TOML) that `WriterInterfaceConfigFileParser` then answers
/// from; it replaces what was loaded before. Its entries:
///
///   feature-order = ["core-cstate", "thermal"]   # optional
///   [[feature]]                                  # any number, no name twice; their order counts
///   name = "core-cstate"
///   metrics = ["CPU C-State"]                    # in the order wanted
///
/// Returns 0, or 1 with `error` set to "FILE:LINE: cause" (or "FILE: cause" where no line is to
/// blame); what was loaded before stays in force then.
PW_HOST_API int loadOutputConfigFile(const std::string& path, std::string& error);

/// Forgets what was loaded, as if there were no file.
PW_HOST_API void unloadOutputConfigFile();

}  // namespace pwr
