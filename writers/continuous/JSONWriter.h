#pragma once

#include <string>

#include "writers/continuous/ContWriter.h"
#include "writers/continuous/TraceDocument.h"
#include "writers/continuous/TraceModel.h"
#include "writers/host/WriterPlugin.h"

/// Writes the metrics of a run as JSON. In a whole run, closing the output writes one trace; in
/// continuous output, every flush writes one numbered file through the `ContWriter` of the process
/// and closing writes nothing. The formats: docs/formats/json-trace.md.
class JSONWriter : public WriterPlugin {
 public:
  JSONWriter();
  ~JSONWriter() override;

  int openOutput(const std::string& baseName, bool continuous) override;
  /// Returns 1, saying nothing, when the trace or the last numbered file could not be written.
  int closeOutput() override;
  /// False when the file could not be written, and always in a whole run.
  bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;

 private:
  int writeMessage(const pwr::Metric& metric) override;
  int writeMessage(const pwr::SystemMessage& message) override;

  std::string outputName_;
  ContWriter* continuous_ = nullptr;  ///< null in a whole run
  bool flushed_ = true;               ///< the last flush, if there was one, succeeded
  TraceCollection collection_;
  TraceModel model_;
};
