#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "tavrin/Options.h"
#include "tavrin/service/FileKeeper.h"
#include "tavrin/service/Reload.h"
#include "tavrin/service/ServiceNotifier.h"

namespace tavrin {

/// What makes a service of a recording: bounds for its files, a manager that hears how it is, and
/// a configuration that can be changed. What the options do not ask for does nothing.
///
/// Calls: `start`, `began`, `keepUp` and `keepUpWith` until the run ends, `ending`, `finish`; all
/// from the writer thread.
class RecordService {
 public:
  using Clock = std::chrono::steady_clock;

  explicit RecordService(const Options& options);

  /// Whether files of earlier runs stay, so that names need the start of their run.
  bool namesStarts() const { return keepsFiles() || isReloadable() || options_.ship.isAsked(); }
  /// Whether a hangup asks for a new configuration, not for the end.
  bool isReloadable() const { return !options_.config.empty() && options_.continuousSec > 0.0; }
  /// Asks for it, from any thread.
  void reload() { reload_.request(); }

  /// Begins to look after the files of this base name, which ends in `suffix`.
  void start(const std::string& baseName, const std::string& suffix);
  /// The outputs are open, and the first sample was taken.
  void began();
  /// A file of the run is about to be written.
  void makeRoom() {
    if (keeper_) keeper_->makeRoom();
  }
  /// Notes a file of the run that is complete; true when it may be gone later.
  bool takes(const std::string& path);
  /// The longest time between two calls of `keepUp`.
  Clock::duration longestWait() const;
  /// To be called again and again; `hasSamples` when some were written meanwhile. True when the run
  /// has to end, so that another one begins.
  bool keepUp(Clock::time_point now, bool hasSamples);
  /// The outputs are being closed.
  void ending();
  /// They are closed. Waits until the files are packed, but not for long: the next run packs
  /// what is left.
  void finish();
  /// Whether a changed configuration was accepted.
  bool isReloading() const { return reload_.isAccepted(); }

 private:
  bool keepsFiles() const { return options_.keep.isAny() || !options_.packing.empty(); }
  std::string status() const;
  bool keepUpReload();

  const Options& options_;
  ServiceNotifier notifier_;
  Reload reload_;
  std::unique_ptr<FileKeeper> keeper_;  ///< null where no files are kept
  std::string baseName_;
  Clock::time_point lastSamples_;
};

}  // namespace tavrin
