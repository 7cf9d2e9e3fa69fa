#pragma once

#include <cstdint>

namespace tavrin {

/// How much the files of a service may become; what is older or more is removed.
struct KeepBounds {
  double ageSec = 0.0;      ///< 0: any age
  std::uint64_t bytes = 0;  ///< 0: any size

  bool isAny() const { return ageSec > 0.0 || bytes > 0; }
};

}  // namespace tavrin
