#include "writers/timeline/KorvellWriter.h"

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <string_view>

#include "writers/host/HostFunctions.h"
#include "writers/timeline/FixedRecords.h"
#include "writers/timeline/SystemSnapshot.h"
#include "writers/timeline/TimelineLog.h"

namespace {

/// Metrics that the analyzer cannot show, by a part of their names.
bool isExcluded(std::string_view name) {
  constexpr std::array<std::string_view, 4> kExcluded{
      "CPU PkgC Dbg", "C-State Debug", "TypeC Subsystem", "S0ix Substate Requirements"};
  return std::ranges::any_of(
      kExcluded, [&](std::string_view text) { return name.find(text) != std::string_view::npos; });
}

}  // namespace

int TimelineRun::write(const pwr::SystemMessage& message) {
  if (system_ != nullptr) {
    TIMELINE_WARNING("A second system message is refused.\n");
    return 1;
  }
  system_ = message.getSystemMetadata();
  systemKey_ = message.getId();
  infos_.setStreamKey(systemKey_);
  const SystemSnapshot system = SystemSnapshot::of(*system_);
  converter_.setCollectionStart(system.collectionStartTsc);
  int status = writeFixedRecords(system, systemKey_, file_);
  if (status == 0 && infos_.writeMetricTypes() != 0) {
    TIMELINE_WARNING("Failed to write metric class type metadata records.\n");
    status = 1;
  }
  if (status != 0) file_.setUnusable();
  return status;
}

int TimelineRun::write(const pwr::Metric& metric) {
  const std::string& name = metric.getDescription()->name;
  if (system_ == nullptr) {
    TIMELINE_LINE(isEarlyMetricTold_ ? PW_LOG_DEBUG : PW_LOG_WARNING, "WARNING",
                  "Metric '%s' came before the system message and is refused.\n", name.c_str());
    isEarlyMetricTold_ = true;
    return 1;
  }
  const bool isNewName = file_.setMetricName(metric.getId(), name);
  if (!file_.isSupported(metric.getId())) return 1;
  const bool isAllowed = !isNewName || !isExcluded(name);
  if (isAllowed && converter_.convert(metric) == 0) return 0;
  file_.markUnsupported(metric.getId());
  return 1;
}

int TimelineRun::close() {
  if (system_ == nullptr) {
    TIMELINE_WARNING("Failed to obtain a system metadata message.\n");
    file_.setUnusable();
    return file_.close();
  }
  const bool hasFailed = !file_.isUsable();
  if (!hasFailed) writeEnd_i();
  const int status = file_.close();
  return hasFailed ? 1 : status;
}

/// Writes what is only known at the end. What cannot be written makes the file an incomplete one.
void TimelineRun::writeEnd_i() {
  if (converter_.finish(*system_) != 0) {
    TIMELINE_WARNING("Failed to flush stored states.\n");
  } else if (writeMagicRecord(systemKey_, file_) != 0) {
    TIMELINE_WARNING("Failed to write magic record.\n");
  }
}

KorvellWriter::KorvellWriter()
    : RunWriter("f245366a-c403-478b-aae5-649269da17c7",
                new pwr::WriterPluginCapability(
                    std::set<pwr::TableClass>{}, "korvell",
                    "Write data trace file (.pwr) in import format for visualization with Korvell",
                    ".pwr", false),
                kTimelineLog,
                [legacy = pwr::check_env("PW_ENABLE_LEGACY_KORVELL")](const std::string& baseName,
                                                                      bool /*continuous*/) {
                  return std::make_unique<TimelineRun>(baseName, legacy);
                }) {}

KorvellWriter::~KorvellWriter() = default;
