#pragma once

#include <cstddef>

/// Bins of one width. Each level of a page has a fourth of the bins of the one before.
struct PageLevel {
  static constexpr std::size_t kStep = 4;

  double binSeconds = 0.0;
  std::size_t bins = 0;
};
