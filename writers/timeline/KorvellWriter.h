#pragma once

#include "writers/common/RunWriter.h"
#include "writers/timeline/TimelineRun.h"

/// Writes a collection as one timeline file (".pwr") for the external timeline analyzer: a
/// description of the system, descriptions of all that was measured, and one record per sample.
/// The file is put together when the output is closed. The format: docs/formats/timeline.md.
class KorvellWriter : public RunWriter<TimelineRun> {
 public:
  /// Reads the environment switch "PW_ENABLE_LEGACY_KORVELL".
  KorvellWriter();
  ~KorvellWriter() override;
};
