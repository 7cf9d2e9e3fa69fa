#include "writers/continuous/JSONWriter.h"

#include "writers/continuous/ContinuousLog.h"
#include "writers/continuous/OutputFile.h"
#include "writers/host/PluginCapability.h"

namespace {

/// For a run that no system message began.
const pwr::SystemMetadata g_unknownSystem;

}  // namespace

JSONWriter::JSONWriter()
    : WriterPlugin("2e820d9e-2f9e-4cdb-a81d-056273a7a392"), collection_{&g_unknownSystem} {
  addCapability(new pwr::WriterPluginCapability(
      {}, "json", "Write data trace file (.ztjson) in JSON format for visualization with Brisolt",
      ".ztjson", true));
}

JSONWriter::~JSONWriter() = default;

int JSONWriter::openOutput(const std::string& baseName, bool continuous) {
  outputName_ = baseName + ".ztjson";
  continuous_ = continuous ? &ContWriter::shared(baseName) : nullptr;
  return 0;
}

int JSONWriter::closeOutput() {
  if (continuous_ != nullptr) return flushed_ ? 0 : 1;
  // About what a point takes, so that a long document is hardly ever copied as it grows.
  constexpr std::size_t kBytesPerValue = 64;
  rapidjson::StringBuffer document(nullptr, 16384 + model_.valueCount() * kBytesPerValue);
  writeTraceDocument(collection_, model_, document);
  document.Put('\n');
  return writeOutputFile(outputName_, {document.GetString(), document.GetSize()});
}

bool JSONWriter::flushContinuousResults(const pwr::SystemMetadata& metadata) {
  if (continuous_ == nullptr) return false;
  flushed_ = continuous_->write(metadata);
  return flushed_;
}

int JSONWriter::writeMessage(const pwr::Metric& metric) {
  if (continuous_ != nullptr) return continuous_->add(metric);
  model_.add(metric);
  return 0;
}

int JSONWriter::writeMessage(const pwr::SystemMessage& message) {
  const pwr::SystemMetadata& system = *message.getSystemMetadata();
  collection_ = {.system = &system,
                 .startTimestamp = system.getCollectionStartTimestamp(),
                 .productVersion = system.getProductVersion(),
                 .driverVersion = system.getDriverVersion(),
                 .commandLine = system.getCommandLine()};
  const ContinuousClock clock(collection_.startTimestamp, system.getTscFrequencyMHz());
  model_.setClock(clock);
  if (continuous_ != nullptr) continuous_->setTickPeriod(clock.period());
  PW_LOG(kContinuousLog, PW_LOG_INFO, "INFO: wrote system message\n");
  return 0;
}
