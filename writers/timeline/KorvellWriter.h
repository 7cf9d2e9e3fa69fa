#pragma once

#include <memory>
#include <string>

#include "writers/host/WriterPlugin.h"

/// Writes a collection as one timeline file (".pwr") for the external timeline analyzer: a
/// description of the system, descriptions of all that was measured, and one record per sample.
/// The file is put together when the output is closed. The format: docs/formats/timeline.md.
class KorvellWriter : public WriterPlugin {
 public:
  /// Reads the environment switch "PW_ENABLE_LEGACY_KORVELL".
  KorvellWriter();
  ~KorvellWriter() override;

  /// Opens no file yet: the temporary ones come with the first records, in the current folder.
  int openOutput(const std::string& baseName, bool continuous) override;
  /// Without a system description or any record of data there is no file, which is not a failure.
  /// Returns 1 when the file, or something that belongs into it, could not be written.
  int closeOutput() override;

 private:
  struct Output;

  int writeMessage(const pwr::SystemMessage& message) override;
  /// Returns 1 for a metric that the file will not have.
  int writeMessage(const pwr::Metric& metric) override;

  bool endRun_i();

  const bool legacy_;
  std::unique_ptr<Output> output_;
};
