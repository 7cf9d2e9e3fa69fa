#pragma once

#include <string>

#include "exporters/lines/LinesRun.h"
#include "writers/common/RunWriter.h"

/// The writer "lines": every point in InfluxDB's line protocol, packed with gzip, for time series
/// engines: docs/formats/lines.md. Its options are "--start-time=N", the wall clock's time at the
/// start of the collection in nanoseconds since 1970, and "--series-limit=N".
class LinesWriter : public RunWriter<lines::LinesRun> {
 public:
  LinesWriter();
  void handleBroadcastOption(const std::string& option) override;

 private:
  lines::LinesOptions options_;
};
