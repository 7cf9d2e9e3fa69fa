#pragma once

#include <cstddef>

#include "tavrin/collect/Interval.h"

namespace tavrin {

/// Whose turn it is among things whose files cannot stay open. To open a file takes several times
/// as long as to read one, so a pass opens `kMostFiles` only and goes on behind them in the next
/// one. Each thing has intervals of its own, which last from turn to turn.
///
/// Calls: in each pass `beginPass`, then `isNext` for every such thing in an order that stays.
class Turns {
 public:
  static constexpr std::size_t kMostFiles = 1000;

  /// The next pass is everybody's turn, as the first one is.
  void takeAll() { isForAll_ = true; }

  /// `now` in ticks. Passes that follow each other closely have no turns.
  void beginPass(unsigned long long now) {
    total_ = seen_;
    seen_ = 0;
    if (total_ > 0) first_ = wasForAll_ ? 0 : (first_ + turn_) % total_;
    const bool isDue = isForAll_ || now >= next_;
    wasForAll_ = isForAll_;
    isForAll_ = false;
    turn_ = isDue ? kMostFiles : 0;
    if (isDue) next_ = now + kPause;
  }

  /// Whether it is the turn of the thing that has so many files. Newcomers have theirs at once.
  bool isNext(std::size_t files) {
    const std::size_t place = seen_;
    seen_ += files;
    if (wasForAll_ || place >= total_) return true;
    return (place + total_ - first_) % total_ < turn_;
  }

 private:
  static constexpr unsigned long long kPause = kTicksPerSecond / 100 * 4;

  bool isForAll_ = true;
  bool wasForAll_ = false;
  unsigned long long next_ = 0;  // when there are turns again
  std::size_t total_ = 0;        // files of all things, as of the last pass
  std::size_t seen_ = 0;         // and in this pass
  std::size_t first_ = 0;        // whose turn begins the pass
  std::size_t turn_ = 0;         // files of this pass
};

}  // namespace tavrin
