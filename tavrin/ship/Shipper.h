#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "tavrin/common/Messages.h"
#include "tavrin/platform/StopRequest.h"
#include "tavrin/ship/Destination.h"
#include "tavrin/ship/Endpoint.h"
#include "tavrin/ship/FileQueue.h"
#include "tavrin/ship/ShipOptions.h"

namespace tavrin {

/// Sends the files of a folder to each of the destinations, all in one thread.
class Shipper {
 public:
  using Clock = StopRequest::Clock;

  /// Locks the folder. Throws CommandError when that fails.
  Shipper(const ShipOptions& options, const std::vector<Endpoint>& endpoints,
          const std::string& folder, FileQueue::Choice choice);

  /// Sends until the folder is empty, unless it has to follow, or until a stop. Ends also when no
  /// destination takes anything until somebody changes something, unless it has to follow.
  /// `progress` may be null.
  void run(const StopRequest& stop, Progress* progress);
  /// Makes `run` end, from another thread: when everything is acknowledged, or after this time.
  void endWithin(Clock::duration time);

  /// Tells what became of the files. Call after `run`.
  void tellOutcome() const;
  /// Whether each file was acknowledged by every destination. Likewise.
  bool isComplete() const;
  std::size_t left() const { return queue_.size() + queue_.stuck(); }
  std::size_t unacknowledged() const { return queue_.unacknowledged(); }

 private:
  using Destinations = std::vector<std::unique_ptr<Destination>>;

  void scan(Clock::time_point now);
  bool isOver(Clock::time_point now);
  bool isEmptied();
  void step(const StopRequest& stop);
  void show(Progress& progress, Clock::time_point now);
  std::uint64_t bytesSent() const;

  const bool follows_;
  const std::uint64_t mostBytes_;
  Transfers transfers_;
  FileQueue queue_;
  const ShipTimes times_;
  const ShipPlace place_;
  Destinations destinations_;
  Clock::time_point nextScan_{};
  Clock::time_point nextShow_{};
  Clock::time_point shown_{};
  std::uint64_t shownBytes_ = 0;
  std::atomic<Clock::rep> end_;  ///< since the clock's epoch
  bool isEnding_ = false;
};

}  // namespace tavrin
