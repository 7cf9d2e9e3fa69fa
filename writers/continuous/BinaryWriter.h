#pragma once

#include <memory>
#include <string>

#include "writers/continuous/BinaryEncoder.h"
#include "writers/host/WriterPlugin.h"

/// Writes every data point of a run as a compact stream of binary records: one ".ztbin" file when
/// the output is closed or, with continuous output, one numbered file per flush. What arrives after
/// the last flush is not written: the host flushes before it closes. The format:
/// docs/formats/binary-stream.md.
class BinaryWriter : public WriterPlugin {
 public:
  BinaryWriter();
  ~BinaryWriter() override;

  /// Does nothing while an output is open.
  int openOutput(const std::string& baseName, bool continuous) override;
  /// Writes the file of a run that is not continuous. Returns 1 when that, or the last flush, could
  /// not be completed; the output stays open then, with all that is not written.
  int closeOutput() override;
  /// Does nothing but return false unless the output is continuous.
  bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;

 private:
  int writeMessage(const pwr::Metric& metric) override;
  int writeMessage(const pwr::SystemMessage& message) override;

  std::unique_ptr<BinaryEncoder> encoder_;
  bool continuous_ = false;
  bool flushed_ = true;  ///< the last flush, if there was one, succeeded
};
