#include "writers/timeline/KorvellWriter.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "writers/host/HostFunctions.h"
#include "writers/timeline/FixedRecords.h"
#include "writers/timeline/InfoRecords.h"
#include "writers/timeline/SampleConverter.h"
#include "writers/timeline/SystemSnapshot.h"
#include "writers/timeline/TimelineLog.h"
#include "writers/timeline/TimelineOutput.h"

namespace {

/// Metrics that the analyzer cannot show, by a part of their names.
bool isExcluded(std::string_view name) {
  constexpr std::array<std::string_view, 4> kExcluded{
      "CPU PkgC Dbg", "C-State Debug", "TypeC Subsystem", "S0ix Substate Requirements"};
  return std::ranges::any_of(
      kExcluded, [&](std::string_view text) { return name.find(text) != std::string_view::npos; });
}

}  // namespace

/// What exists while an output is open.
struct KorvellWriter::Output {
  Output(const std::string& baseName, bool legacy)
      : file(baseName), infos(file, legacy), converter(file, infos, legacy) {}

  TimelineOutput file;
  InfoRecords infos;
  SampleConverter converter;
  // Before the system description came: none.
  const pwr::SystemMetadata* system = nullptr;
  std::uint64_t systemKey = pwrfile::kNone;
};

KorvellWriter::KorvellWriter()
    : WriterPlugin("f245366a-c403-478b-aae5-649269da17c7"),
      legacy_(pwr::check_env("PW_ENABLE_LEGACY_KORVELL")) {
  addCapability(new pwr::WriterPluginCapability(
      std::set<pwr::TableClass>{}, "korvell",
      "Write data trace file (.pwr) in import format for visualization with Korvell", ".pwr",
      false));
}

KorvellWriter::~KorvellWriter() = default;

int KorvellWriter::openOutput(const std::string& baseName, bool /*continuous*/) {
  output_ = std::make_unique<Output>(baseName, legacy_);
  return 0;
}

int KorvellWriter::writeMessage(const pwr::SystemMessage& message) {
  if (output_ == nullptr) return 1;
  output_->system = message.getSystemMetadata();
  output_->systemKey = message.getId();
  output_->infos.setStreamKey(message.getId());
  const SystemSnapshot system = SystemSnapshot::of(*message.getSystemMetadata());
  output_->converter.setCollectionStart(system.collectionStartTsc);
  int status = writeFixedRecords(system, message.getId(), output_->file);
  if (status == 0 && output_->infos.writeMetricTypes() != 0) {
    TIMELINE_WARNING(
        "Failed to write metric class type metadata "
        "records.\n");
    status = 1;
  }
  if (status != 0) output_->file.setUnusable();
  return status;
}

int KorvellWriter::writeMessage(const pwr::Metric& metric) {
  if (output_ == nullptr || output_->system == nullptr) return 1;
  const std::string& name = metric.getDescription()->name;
  const bool isNewName = output_->file.setMetricName(metric.getId(), name);
  if (!output_->file.isSupported(metric.getId())) return 1;
  const bool isAllowed = !isNewName || !isExcluded(name);
  if (isAllowed && output_->converter.convert(metric) == 0) return 0;
  output_->file.markUnsupported(metric.getId());
  return 1;
}

int KorvellWriter::closeOutput() {
  if (output_ == nullptr) return 1;
  const bool hasFailed = !output_->file.isUsable();
  if (!hasFailed && !endRun_i()) return 1;
  const int status = output_->file.close();
  output_.reset();
  return hasFailed ? 1 : status;
}

/// Writes what is only known at the end. False after a failure, with which there is no file.
bool KorvellWriter::endRun_i() {
  const char* fault = nullptr;
  if (output_->system == nullptr) {
    TIMELINE_WARNING("Failed to obtain a system metadata message.\n");
    output_->file.setUnusable();
    return true;
  }
  if (output_->converter.finish(*output_->system) != 0) {
    fault = "Failed to flush stored states.";
  } else if (writeMagicRecord(output_->systemKey, output_->file) != 0) {
    fault = "Failed to write magic record.";
  }
  if (fault == nullptr) return true;
  TIMELINE_WARNING("%s\n", fault);
  output_->file.setUnusable();
  return false;
}
