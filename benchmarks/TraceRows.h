#pragma once

#include <array>
#include <string>
#include <vector>

#include "hostcommon/NumberText.h"

/// Cells such as a trace has, made before anything is timed: their lengths differ from row to row.
using TraceRow = std::array<std::string, 4>;

inline std::vector<TraceRow> makeTraceRows() {
  std::vector<TraceRow> rows(4096);
  for (std::size_t n = 0; n < rows.size(); ++n) {
    rows[n][0] = std::to_string(n * 488);
    pwr::appendFixed(rows[n][1], static_cast<double>(n) * 4880.37, 2);
    pwr::appendFixed(rows[n][2], 10 + static_cast<double>(n % 7) / 100, 2);
    pwr::appendFixed(rows[n][3], static_cast<double>(n * n % 100003) / 13, 2);
  }
  return rows;
}
