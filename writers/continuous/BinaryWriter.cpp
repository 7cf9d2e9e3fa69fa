#include "writers/continuous/BinaryWriter.h"

#include <set>

BinaryWriter::BinaryWriter() : WriterPlugin("c3b1f91c-4a80-11e9-8261-001e67ca31ce") {
  addCapability(new pwr::WriterPluginCapability(
      std::set<pwr::TableClass>{}, "bin",
      "Write data in a proprietary binary format (.ztbin) for consumption by the Tavrin API",
      ".ztbin", true));
}

BinaryWriter::~BinaryWriter() = default;

int BinaryWriter::openOutput(const std::string& baseName, bool continuous) {
  if (encoder_ != nullptr) return 0;
  encoder_ = std::make_unique<BinaryEncoder>(baseName);
  continuous_ = continuous;
  flushed_ = true;
  return 0;
}

int BinaryWriter::closeOutput() {
  if (encoder_ == nullptr) return 1;
  // A flush closes its file itself, so that of a continuous run nothing is left open.
  const bool isComplete =
      continuous_ ? flushed_
                  : encoder_->writeFile(encoder_->system(), BinaryEncoder::Naming::Whole);
  if (isComplete) encoder_.reset();
  return isComplete ? 0 : 1;
}

bool BinaryWriter::flushContinuousResults(const pwr::SystemMetadata& metadata) {
  // The file of a whole run must not depend on another.
  if (encoder_ == nullptr || !continuous_) return false;
  flushed_ = encoder_->writeFile(metadata, BinaryEncoder::Naming::Numbered);
  return flushed_;
}

int BinaryWriter::writeMessage(const pwr::Metric& metric) {
  if (encoder_ == nullptr) return 1;
  encoder_->encode(metric);
  PW_LOG(kBinaryLog, PW_LOG_INFO, "INFO: wrote Metric message\n");
  return 0;
}

int BinaryWriter::writeMessage(const pwr::SystemMessage& message) {
  if (encoder_ == nullptr) return 1;
  encoder_->setSystem(message.getSystemMetadata());
  PW_LOG(kBinaryLog, PW_LOG_INFO, "INFO: wrote system message\n");
  return 0;
}
