#pragma once

#include <cstdint>
#include <string>

#include "formats/pwr_format.h"
#include "writers/common/RunWriter.h"
#include "writers/timeline/InfoRecords.h"
#include "writers/timeline/SampleConverter.h"
#include "writers/timeline/TimelineOutput.h"

/// A timeline file from its opening to its end: what the writer keeps of a run.
class TimelineRun {
 public:
  /// Opens no file yet: the temporary ones come with the first records, in the current folder.
  /// `legacy`: for analyzers that know no reals.
  TimelineRun(const std::string& baseName, bool legacy)
      : file_(baseName), infos_(file_, legacy), converter_(file_, infos_, legacy) {}

  int write(const pwr::SystemMessage& message);
  /// Returns 1 for a metric that the file will not have.
  int write(const pwr::Metric& metric);
  /// Without a system description or any record of data there is no file, which is not a failure.
  /// Returns 1 when the file, or something that belongs into it, could not be written.
  int close();

 private:
  void writeEnd_i();

  TimelineOutput file_;
  InfoRecords infos_;
  SampleConverter converter_;
  // Before the system description came: none.
  const pwr::SystemMetadata* system_ = nullptr;
  std::uint64_t systemKey_ = pwrfile::kNone;
  bool isEarlyMetricTold_ = false;
};

/// Writes a collection as one timeline file (".pwr") for the external timeline analyzer: a
/// description of the system, descriptions of all that was measured, and one record per sample.
/// The file is put together when the output is closed. The format: docs/formats/timeline.md.
class KorvellWriter : public RunWriter<TimelineRun> {
 public:
  /// Reads the environment switch "PW_ENABLE_LEGACY_KORVELL".
  KorvellWriter();
  ~KorvellWriter() override;
};
