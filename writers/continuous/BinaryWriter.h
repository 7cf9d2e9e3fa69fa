#pragma once

#include <string>

#include "writers/common/RunWriter.h"
#include "writers/continuous/BinaryEncoder.h"
#include "writers/host/SystemMessage.h"

/// One run of the binary writer.
class BinaryOutput {
 public:
  /// `standalone`: numbered files that can be read without those before them.
  BinaryOutput(const std::string& baseName, bool continuous, bool standalone)
      : encoder_(baseName), continuous_(continuous), standalone_(standalone) {}

  int write(const pwr::Metric& metric);
  int write(const pwr::SystemMessage& message);
  bool flush(const pwr::SystemMetadata& metadata);
  int close();

 private:
  BinaryEncoder encoder_;
  const bool continuous_;
  const bool standalone_;
  bool flushed_ = true;  ///< the last flush, if there was one, succeeded
};

/// Writes every data point of a run as a compact stream of binary records: one ".ztbin" file when
/// the output is closed or, with continuous output, one numbered file per flush. What arrives after
/// the last flush is not written: the host flushes before it closes. The format:
/// docs/formats/binary-stream.md.
///
/// The option "--standalone-files=1" has each numbered file stand for itself, for hosts that remove
/// the oldest of them.
///
/// A file that cannot be written completely is left as NAME.incomplete by `closeOutput`, which
/// returns 1. A flush that fails returns false and leaves nothing; the next one has its records,
/// and `closeOutput` tries once more where there is none.
class BinaryWriter : public RunWriter<BinaryOutput> {
 public:
  BinaryWriter();
  ~BinaryWriter() override;

  /// Does nothing while an output is open.
  int openOutput(const std::string& baseName, bool continuous) override;
  void handleBroadcastOption(const std::string& option) override;

 private:
  bool standalone_ = false;
};
