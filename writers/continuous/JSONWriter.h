#pragma once

#include <memory>
#include <string>

#include "writers/common/RunWriter.h"
#include "writers/continuous/ContWriter.h"
#include "writers/continuous/TraceDocument.h"
#include "writers/continuous/TraceModel.h"
#include "writers/host/SystemMessage.h"

/// One run of the JSON writer: collects a trace, or feeds the `ContWriter` of the process.
class JsonRun {
 public:
  /// `continuous` is null in a whole run.
  JsonRun(std::string outputName, ContWriter* continuous);
  ~JsonRun();
  JsonRun(const JsonRun&) = delete;
  JsonRun& operator=(const JsonRun&) = delete;

  int write(const pwr::Metric& metric);
  int write(const pwr::SystemMessage& message);
  bool flush(const pwr::SystemMetadata& metadata);
  int close();

 private:
  int writeTrace() const;

  const std::string outputName_;
  ContWriter* continuous_;  ///< null in a whole run, and once it is ended
  TraceCollection collection_;
  TraceModel model_;
  bool flushed_ = true;  ///< the last flush, if there was one, succeeded
};

/// Writes the metrics of a run as JSON. In a whole run, closing the output writes one trace; with
/// continuous output, every flush writes one numbered file through the `ContWriter` of the process.
/// The formats: docs/formats/json-trace.md.
///
/// A trace that cannot be written completely is left as NAME.incomplete by `closeOutput`, which
/// returns 1. A flush that fails returns false and leaves nothing; the next one has its points, and
/// `closeOutput` tries once more where there is none.
class JSONWriter : public RunWriter<JsonRun> {
 public:
  JSONWriter();
  ~JSONWriter() override;
};
