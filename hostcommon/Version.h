#pragma once

namespace pwr {

/// Version of the library and its tools: major.minor.revision.
inline constexpr int kVersionMajor = 0;
inline constexpr int kVersionMinor = 1;
inline constexpr int kVersionRevision = 0;
inline constexpr const char* kVersion = "0.1.0";

}  // namespace pwr
