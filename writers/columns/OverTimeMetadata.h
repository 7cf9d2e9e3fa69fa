#pragma once

#include <string>
#include <vector>

#include "writers/columns/OverTimeSeries.h"
#include "writers/columns/TableFile.h"
#include "writers/host/SystemMetadata.h"

/// Writes the file beside the over-time table that tells what its columns are and where it comes
/// from: the tables "Columns" and "System".
class OverTimeMetadata {
 public:
  OverTimeMetadata() : file_("_phm_metadata.csv") {}

  /// Returns 1 when the file cannot be created (logged).
  int open(const std::string& baseName) { return file_.open(baseName); }

  /// Writes both tables and closes the file. `system` is null when no description came. Returns 1,
  /// with the cause logged, when the file is not complete.
  int write(const OverTimeSeriesList& series, const pwr::SystemMetadata* system);

 private:
  void printTable(const std::string& title, const std::vector<std::string>& columns,
                  const std::vector<std::vector<std::string>>& rows);

  TableFile file_;
};
