#pragma once

#include <string>
#include <vector>

#include "hostcommon/OutputFile.h"
#include "writers/columns/OverTimeNames.h"
#include "writers/columns/OverTimeSeries.h"
#include "writers/host/SystemMetadata.h"

/// The file beside the over-time data that tells what the series in it are and where they come
/// from: the tables "Columns", "Events" and "System".
class OverTimeMetadata {
 public:
  /// The series of the columns; `headings` begin with that of the time.
  struct Columns {
    const OverTimeSeriesList& series;
    const std::vector<std::string>& headings;
  };

  /// Creates the file that will be `path`. False, logged, when that fails.
  bool open(const std::string& path);
  /// Writes the tables and closes the file. `system` is null when no description came. Returns 1,
  /// with the cause logged, when the file is not complete.
  int write(const Columns& columns, const OverTimeSeriesList& events, OverTimeNames& names,
            const pwr::SystemMetadata* system);

 private:
  pwr::OutputFile file_;
};
