#include "tavrin/service/RecordService.h"

#include <algorithm>

#include "hostcommon/Platform.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

constexpr std::chrono::milliseconds kReloadLook{50};
/// Service managers kill what takes longer than 90 seconds, and at a reload nothing is measured
/// meanwhile. The next run packs what is left.
constexpr std::chrono::seconds kPackingWait{20};

std::optional<Packing> packingOf(const Options& options) {
  if (options.packing.empty()) return {};
  const std::string reason = whyNotPacked(Packing::Zstd);
  if (!reason.empty()) throw CommandError(kExitUsage, "--compress: " + reason);
  return Packing::Zstd;
}

}  // namespace

RecordService::RecordService(const Options& options)
    : options_(options), reload_(options.arguments) {
  packingOf(options);
  if (keepsFiles() && options.output == "console") {
    throw CommandError(kExitUsage,
                       "--keep and --compress are for files, and '-o console' makes none");
  }
}

void RecordService::start(const std::string& baseName, const std::string& suffix) {
  baseName_ = baseName;
  if (!keepsFiles()) return;
  FileKeeper::Settings settings{.folder = pwr::platform::folderOf(baseName),
                                .bounds = options_.keep,
                                .packing = packingOf(options_),
                                .sparesLines = options_.ship.isAsked()};
  settings.stem = baseName.substr(settings.folder.size());
  settings.stem.resize(settings.stem.size() - suffix.size());
  keeper_ = std::make_unique<FileKeeper>(settings);
  keeper_->start();
}

std::string RecordService::status() const {
  return "recording to " + escaped(baseName_) + (keeper_ ? "; kept " + keeper_->status() : "");
}

void RecordService::began() {
  lastSamples_ = Clock::now();
  notifier_.ready();
  notifier_.status(status());
}

bool RecordService::takes(const std::string& path) {
  if (keeper_ == nullptr) return false;
  keeper_->noteFile(path);
  return true;
}

RecordService::Clock::duration RecordService::longestWait() const {
  if (reload_.isUnderWay()) return kReloadLook;
  const auto watchdog = notifier_.watchdogPeriod();
  return watchdog.count() > 0 ? Clock::duration(watchdog / 8) : std::chrono::hours(1);
}

/// The manager is not told that the service is alive when samples are overdue, whether it is this
/// thread that hangs or the one that takes them.
bool RecordService::keepUp(Clock::time_point now, bool hasSamples) {
  if (hasSamples) lastSamples_ = now;
  const std::chrono::duration<double, std::milli> interval(options_.intervalMs);
  if (now - lastSamples_ < interval + notifier_.watchdogPeriod() / 2) notifier_.alive(now);
  if (notifier_.isHeard()) notifier_.status(status());
  return keepUpReload();
}

bool RecordService::keepUpReload() {
  switch (reload_.keepUp()) {
    case Reload::Progress::None:
      return false;
    case Reload::Progress::Begun:
      inform("reading " + options_.config + " again");
      notifier_.reloading();
      return false;
    case Reload::Progress::Refused:
      warn("going on with the configuration as it was");
      notifier_.ready();
      return false;
    case Reload::Progress::Accepted:
      break;
  }
  return true;
}

void RecordService::ending() {
  if (!isReloading()) notifier_.stopping();
}

void RecordService::finish() {
  if (keeper_) keeper_->finish(kPackingWait);
}

}  // namespace tavrin
