#include "tavrin/ship/Shipper.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "tavrin/ship/ShipStatistics.h"

namespace tavrin {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::chrono::seconds kScanPeriod{1};
constexpr int kScanShare = 20;  ///< a scan takes no more of the time than one in so many parts
constexpr std::chrono::milliseconds kShowPeriod{500};
/// What the files of a folder may take where more and more of them come.
constexpr std::uint64_t kMostBytes = 1'000'000'000;
constexpr StopRequest::Clock::rep kNever = std::numeric_limits<StopRequest::Clock::rep>::max();

StopRequest::Clock::duration toDuration(double seconds) {
  return std::chrono::duration_cast<StopRequest::Clock::duration>(Seconds(seconds));
}

std::uint64_t boundOf(const ShipOptions& options) {
  if (options.mostBytes > 0) return options.mostBytes;
  return options.follow ? kMostBytes : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

Shipper::Shipper(const ShipOptions& options, const std::vector<Endpoint>& endpoints,
                 const std::string& folder, FileQueue::Choice choice)
    : follows_(options.follow),
      mostBytes_(boundOf(options)),
      queue_(folder, static_cast<unsigned int>(endpoints.size()), std::move(choice)),
      times_{.hold = toDuration(options.holdSec),
             .retryMost = Seconds(options.retryMostSec),
             .patience = toDuration(options.timeoutSec)},
      place_(shipPlace(folder)),
      end_(kNever) {
  destinations_.reserve(endpoints.size());
  for (const Endpoint& endpoint : endpoints) {
    destinations_.push_back(
        std::make_unique<Destination>(transfers_, endpoint, queue_, times_, place_));
  }
}

void Shipper::scan(Clock::time_point now) {
  for (const QueuedFilePtr& file : queue_.scan()) {
    for (const auto& destination : destinations_) destination->add(file);
  }
  if (mostBytes_ != std::numeric_limits<std::uint64_t>::max()) queue_.trim(mostBytes_);
  for (const auto& destination : destinations_) destination->sweep();
  const auto taken = Clock::now() - now;
  nextScan_ = now + std::max<Clock::duration>(kScanPeriod, taken * kScanShare);
}

/// Whether nothing lies there, also nothing that has come since the last look.
bool Shipper::isEmptied() {
  if (queue_.size() > 0) return false;
  scan(Clock::now());
  return queue_.size() == 0;
}

bool Shipper::isOver(Clock::time_point now) {
  const auto isFinished = [](const auto& destination) { return !destination->hasWaiting(); };
  if (const Clock::rep end = end_.load(); end != kNever) {
    if (!isEnding_) scan(now);  // the last files
    isEnding_ = true;
    return std::ranges::all_of(destinations_, isFinished) || now.time_since_epoch().count() >= end;
  }
  if (follows_) return false;
  const auto isStuck = [&](const auto& destination) {
    return destination->isShut() && destination->hasWaiting();
  };
  const auto isAtRest = [&](const auto& destination) {
    return destination->isShut() || (!destination->hasWaiting() && !destination->isHolding());
  };
  if (std::ranges::any_of(destinations_, isStuck) && std::ranges::all_of(destinations_, isAtRest)) {
    return true;
  }
  return isEmptied();
}

void Shipper::step(const StopRequest& stop) {
  const auto now = Clock::now();
  for (const auto& destination : destinations_) destination->work(now);
  transfers_.perform([this](const CURL* handle, CURLcode result) {
    for (const auto& destination : destinations_) destination->finish(handle, result, Clock::now());
  });
  auto wake = nextScan_;
  for (const auto& destination : destinations_) wake = std::min(wake, destination->wake(now));
  transfers_.wait(wake, stop.descriptor());
}

void Shipper::run(const StopRequest& stop, Progress* progress) {
  scan(Clock::now());
  while (!stop.isRequested() && !isOver(Clock::now())) {
    step(stop);
    const auto now = Clock::now();
    if (now >= nextScan_) scan(now);
    if (progress != nullptr) show(*progress, now);
  }
}

void Shipper::endWithin(Clock::duration time) {
  end_ = (Clock::now() + time).time_since_epoch().count();
  transfers_.wakeUp();
}

std::uint64_t Shipper::bytesSent() const {
  return std::accumulate(
      destinations_.begin(), destinations_.end(), std::uint64_t{0},
      [](std::uint64_t sum, const auto& destination) { return sum + destination->counts().bytes; });
}

void Shipper::show(Progress& progress, Clock::time_point now) {
  if (now < nextShow_ || !progress.isShown()) return;
  nextShow_ = now + kShowPeriod;
  double lag = 0.0;
  for (const auto& destination : destinations_) {
    lag = std::max(lag, destination->load().lagSec);
  }
  const std::uint64_t bytes = bytesSent();
  const double rate =
      static_cast<double>(bytes - shownBytes_) / std::max(1e-3, Seconds(now - shown_).count());
  shownBytes_ = bytes;
  shown_ = now;
  progress.show("shipping: " + counted(queue_.unacknowledged(), "file") + " left, lag " +
                timeText(lag) + ", " + bytesText(rate) + "/s; " +
                counted(queue_.size() - queue_.unacknowledged(), "file") + " held; Ctrl-C ends it");
}

bool Shipper::isComplete() const {
  return queue_.unacknowledged() == 0 && queue_.stuck() == 0 && queue_.lost() == 0 &&
         queue_.setAside() == 0;
}

void Shipper::tellOutcome() const {
  for (const auto& destination : destinations_) {
    inform("sent to " + destination->name() + ": " + summaryText(destination->counts()));
  }
  if (queue_.lost() > 0) {
    warn(counted(queue_.lost(), "file") + " lost to the bound of the folder");
  }
  if (queue_.setAside() > 0) {
    warn(counted(queue_.setAside(), "file") + " set aside in " + queue_.folder() + "/rejected");
  }
  if (queue_.stuck() > 0) {
    warn(counted(queue_.stuck(), "file") + " could not be taken away from " + queue_.folder());
  }
  if (queue_.unacknowledged() > 0) {
    warn(counted(queue_.unacknowledged(), "file") + " left in " + queue_.folder() +
         ", not acknowledged; 'tavrin ship " + queue_.folder() + "' sends them");
  }
  const std::size_t held = queue_.size() - queue_.unacknowledged();
  if (held > 0) {
    inform(counted(held, "file") + " acknowledged, but not for the time of the hold; left in " +
           queue_.folder() + " to be sent once more");
  }
}

}  // namespace tavrin
