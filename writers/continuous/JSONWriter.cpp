#include "writers/continuous/JSONWriter.h"

#include "writers/continuous/ContWriter.h"
#include "writers/continuous/ContinuousLog.h"
#include "writers/continuous/OutputFile.h"
#include "writers/continuous/TraceDocument.h"
#include "writers/continuous/TraceModel.h"
#include "writers/host/PluginCapability.h"

namespace {

/// For a run that no system message began.
const pwr::SystemMetadata g_unknownSystem;

}  // namespace

struct JSONWriter::Run {
  std::string outputName;
  ContWriter* continuous = nullptr;  ///< null in a whole run
  TraceCollection collection{&g_unknownSystem};
  TraceModel model;
  bool flushed = true;  ///< the last flush, if there was one, succeeded
};

JSONWriter::JSONWriter() : WriterPlugin("2e820d9e-2f9e-4cdb-a81d-056273a7a392") {
  addCapability(new pwr::WriterPluginCapability(
      {}, "json", "Write data trace file (.ztjson) in JSON format for visualization with Brisolt",
      ".ztjson", true));
}

JSONWriter::~JSONWriter() = default;

int JSONWriter::openOutput(const std::string& baseName, bool continuous) {
  run_ = std::make_unique<Run>();
  run_->outputName = baseName + ".ztjson";
  if (continuous) run_->continuous = &ContWriter::shared(baseName);
  return 0;
}

int JSONWriter::closeOutput() {
  if (run_ == nullptr) return 1;
  const bool isComplete = run_->continuous != nullptr ? run_->flushed : writeTrace(*run_) == 0;
  if (isComplete) run_.reset();
  return isComplete ? 0 : 1;
}

int JSONWriter::writeTrace(const Run& run) {
  // About what a point takes, so that a long document is hardly ever copied as it grows.
  constexpr std::size_t kBytesPerValue = 64;
  JsonBuffer document;
  reserveLarge(document, 16384 + run.model.valueCount() * kBytesPerValue);
  writeTraceDocument(run.collection, run.model, document);
  document.Put('\n');
  return writeOutputFile(run.outputName, {document.GetString(), document.GetSize()});
}

bool JSONWriter::flushContinuousResults(const pwr::SystemMetadata& metadata) {
  if (run_ == nullptr || run_->continuous == nullptr) return false;
  run_->flushed = run_->continuous->write(metadata);
  return run_->flushed;
}

int JSONWriter::writeMessage(const pwr::Metric& metric) {
  if (run_ == nullptr) return 1;
  if (run_->continuous != nullptr) return run_->continuous->add(metric);
  run_->model.add(metric);
  return 0;
}

int JSONWriter::writeMessage(const pwr::SystemMessage& message) {
  if (run_ == nullptr) return 1;
  const pwr::SystemMetadata& system = *message.getSystemMetadata();
  run_->collection = {.system = &system,
                      .startTimestamp = system.getCollectionStartTimestamp(),
                      .productVersion = system.getProductVersion(),
                      .driverVersion = system.getDriverVersion(),
                      .commandLine = system.getCommandLine()};
  const ContinuousClock clock(run_->collection.startTimestamp, system.getTscFrequencyMHz());
  run_->model.setClock(clock);
  if (run_->continuous != nullptr) run_->continuous->setTickPeriod(clock.period());
  PW_LOG(kContinuousLog, PW_LOG_INFO, "INFO: wrote system message\n");
  return 0;
}
