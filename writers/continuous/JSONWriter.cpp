#include "writers/continuous/JSONWriter.h"

#include <cerrno>
#include <new>
#include <utility>

#include "hostcommon/OutputFile.h"
#include "writers/common/TextLog.h"
#include "writers/continuous/ContinuousCommon.h"
#include "writers/host/PluginCapability.h"

namespace {

/// For a run that no system message began.
const pwr::SystemMetadata g_unknownSystem;

std::unique_ptr<JsonRun> makeRun(const std::string& baseName, bool continuous) {
  return std::make_unique<JsonRun>(baseName + ".ztjson",
                                   continuous ? &ContWriter::shared(baseName) : nullptr);
}

}  // namespace

JSONWriter::JSONWriter()
    : RunWriter("2e820d9e-2f9e-4cdb-a81d-056273a7a392",
                new pwr::WriterPluginCapability(
                    {}, "json",
                    "Write data trace file (.ztjson) in JSON format for visualization with Brisolt",
                    ".ztjson", true),
                kContinuousLog, makeRun) {}

JSONWriter::~JSONWriter() = default;

JsonRun::JsonRun(std::string outputName, ContWriter* continuous)
    : outputName_(std::move(outputName)),
      continuous_(continuous),
      collection_{.system = &g_unknownSystem} {
  if (continuous_ != nullptr) continuous_->beginRun();
}

JsonRun::~JsonRun() {
  // Not closed: nothing more is written.
  if (continuous_ != nullptr) continuous_->endRun(g_unknownSystem, true);
}

int JsonRun::close() {
  if (continuous_ == nullptr) return writeTrace();
  ContWriter& continuous = *std::exchange(continuous_, nullptr);
  return continuous.endRun(*collection_.system, flushed_) ? 0 : 1;
}

int JsonRun::writeTrace() const {
  pwr::OutputFile file;
  if (!file.open(outputName_)) {
    PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not write %s: %s.\n", outputName_.c_str(),
           systemErrorText(errno).c_str());
    return 1;
  }
  try {
    writeTraceDocument(collection_, model_, file);
  } catch (const std::bad_alloc&) {
    file.noteFailure(ENOMEM);
  }
  return file.close();
}

bool JsonRun::flush(const pwr::SystemMetadata& metadata) {
  if (continuous_ == nullptr) return false;
  flushed_ = continuous_->write(metadata);
  return flushed_;
}

int JsonRun::write(const pwr::Metric& metric) {
  if (continuous_ != nullptr) return continuous_->add(metric);
  model_.add(metric);
  return 0;
}

int JsonRun::write(const pwr::SystemMessage& message) {
  const pwr::SystemMetadata& system = *message.getSystemMetadata();
  collection_ = {.system = &system, .startTimestamp = system.getCollectionStartTimestamp()};
  const ContinuousClock clock(collection_.startTimestamp, system.getTscFrequencyMHz());
  model_.setClock(clock);
  if (continuous_ != nullptr) continuous_->setTickPeriod(clock.period());
  PW_LOG(kContinuousLog, PW_LOG_INFO, "INFO: wrote system message\n");
  return 0;
}
