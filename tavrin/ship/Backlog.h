#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "tavrin/ship/QueuedFile.h"

namespace tavrin {

/// What one destination has to do with a file.
struct Delivery {
  QueuedFilePtr file;
  std::uint64_t from = 0;  ///< bytes of its text that need not be sent again
  unsigned int times = 0;  ///< how often all of it was acknowledged
  std::chrono::steady_clock::time_point acknowledged{};
};

/// The files of one destination. An acknowledged file is held until the destination has shown that
/// it lived on for a while: it may have answered before anything was on disk. One that may have
/// been lost so is sent again, but never before those that were not sent at all: whatever breaks
/// the connection time and again, new files get through.
class Backlog {
 public:
  using Clock = std::chrono::steady_clock;

  void add(QueuedFilePtr file);
  /// The next file to send, oldest first; it is no part of the backlog until it comes back by one
  /// of the three calls below, or for good.
  std::optional<Delivery> take();
  void acknowledge(Delivery delivery, Clock::time_point now);
  /// Of a file that is to be sent once more, or was not sent.
  void putBack(Delivery delivery);

  /// Takes out, and returns, the files that were acknowledged at `time` or before.
  std::vector<QueuedFilePtr> release(Clock::time_point time);
  /// Whatever is held is to be sent again, but for what was acknowledged `mostTimes`.
  void doubt(unsigned int mostTimes);
  /// Forgets files that are gone.
  void sweep();

  /// When the file that is held for longest was acknowledged; nothing when none is held.
  std::optional<Clock::time_point> heldSince() const;
  std::size_t held() const { return held_.size(); }
  std::size_t waiting() const { return fresh_.size() + again_.size(); }
  /// The oldest file that waits; null without.
  const QueuedFile* oldest() const;

 private:
  using Ordered = std::map<FileOrder, Delivery>;

  Ordered fresh_;              ///< never acknowledged
  Ordered again_;              ///< acknowledged, but in vain perhaps
  std::deque<Delivery> held_;  ///< in the order of their acknowledgements
};

}  // namespace tavrin
