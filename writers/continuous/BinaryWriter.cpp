#include "writers/continuous/BinaryWriter.h"

#include <memory>

#include "writers/host/PluginCapability.h"

BinaryWriter::BinaryWriter()
    : RunWriter("c3b1f91c-4a80-11e9-8261-001e67ca31ce",
                new pwr::WriterPluginCapability({}, "bin",
                                                "Write data in a proprietary binary format "
                                                "(.ztbin) for consumption by the Tavrin API",
                                                ".ztbin", true),
                kBinaryLog, [this](const std::string& baseName, bool continuous) {
                  return std::make_unique<BinaryOutput>(baseName, continuous, standalone_);
                }) {}

BinaryWriter::~BinaryWriter() = default;

int BinaryWriter::openOutput(const std::string& baseName, bool continuous) {
  return isOpen() ? 0 : RunWriter::openOutput(baseName, continuous);
}

void BinaryWriter::handleBroadcastOption(const std::string& option) {
  if (option == "--standalone-files=1") standalone_ = true;
}

int BinaryOutput::close() {
  // A flush closes its file itself, so that of a continuous run nothing is left open.
  if (continuous_ && flushed_) return 0;
  const auto naming = continuous_ ? BinaryEncoder::Naming::Numbered : BinaryEncoder::Naming::Whole;
  return encoder_.writeFile(encoder_.system(), naming, Unfinished::Kept) ? 0 : 1;
}

bool BinaryOutput::flush(const pwr::SystemMetadata& metadata) {
  // The file of a whole run must not depend on another.
  if (!continuous_) return false;
  flushed_ = encoder_.writeFile(metadata, BinaryEncoder::Naming::Numbered, Unfinished::Discarded);
  if (flushed_ && standalone_) encoder_.beginAnew();
  return flushed_;
}

int BinaryOutput::write(const pwr::Metric& metric) {
  encoder_.encode(metric);
  PW_LOG(kBinaryLog, PW_LOG_INFO, "INFO: wrote Metric message\n");
  return 0;
}

int BinaryOutput::write(const pwr::SystemMessage& message) {
  encoder_.setSystem(message.getSystemMetadata());
  PW_LOG(kBinaryLog, PW_LOG_INFO, "INFO: wrote system message\n");
  return 0;
}
