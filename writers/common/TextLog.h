#pragma once

#include <array>
#include <string>

#include "writers/common/WriterLog.h"
#include "writers/host/HostFunctions.h"
#include "writers/host/LogChannels.h"

/// The lines of the text writers that their debug switch shows at any verbosity.
inline const WriterLog kTextLog(kTextChannel);
/// The lines of the text writers that only the verbosity decides on.
inline const WriterLog kPlainLog("");

/// The system's text for an errno value.
inline std::string systemErrorText(int errnum) {
  std::array<char, 256> buffer{};
  pwr::pw_strerror(errnum, buffer.data(), buffer.size());
  return buffer.data();
}
