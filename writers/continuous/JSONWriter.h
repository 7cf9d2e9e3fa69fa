#pragma once

#include <memory>
#include <string>

#include "writers/host/WriterPlugin.h"

/// Writes the metrics of a run as JSON. In a whole run, closing the output writes one trace; in
/// continuous output, every flush writes one numbered file through the `ContWriter` of the process
/// and closing writes nothing. The formats: docs/formats/json-trace.md.
class JSONWriter : public WriterPlugin {
 public:
  JSONWriter();
  ~JSONWriter() override;

  /// Begins a run, without what an earlier one left.
  int openOutput(const std::string& baseName, bool continuous) override;
  /// Returns 1, saying nothing, when the trace or the last numbered file could not be written; the
  /// output stays open then, with all that is not written.
  int closeOutput() override;
  /// False when the file could not be written, and always unless the output is continuous.
  bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;

 private:
  int writeMessage(const pwr::Metric& metric) override;
  int writeMessage(const pwr::SystemMessage& message) override;

  struct Run;

  static int writeTrace(const Run& run);

  std::unique_ptr<Run> run_;  ///< while the output is open
};
