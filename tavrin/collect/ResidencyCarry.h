#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tavrin {

/// Spreads the residencies of one CPU's states over the intervals in which they can have happened.
///
/// The kernel counts a residency when the state is left (or by the jiffy), so one interval may show
/// nothing and the next more than its own length. What does not fit into an interval is carried
/// into the following ones. Two bounds hold always: the states of an interval add up to at most its
/// length, and what was attributed so far plus what is still carried is at most the time since the
/// start, as what is more was spent before it and is not ours. What intervals never get is known
/// all the same: it is the remainder.
class ResidencyCarry {
 public:
  explicit ResidencyCarry(std::size_t states) : carry_(states), stranded_(states) {}

  /// Starts again at this moment: no later interval gets what is carried.
  void restart();
  /// The same behind `gap` ticks that are not measured, in which the counters grew by `growth`: as
  /// much of it as the gap cannot hold was spent before. `growth` is changed.
  void restart(unsigned long long gap, std::span<unsigned long long> growth);

  /// `ticks` holds the growth of each state's counter during the interval of `interval` ticks, and
  /// afterwards the ticks that the interval gets of each state. Where not all fits, the states get
  /// proportional parts; the total is exact. `ticks` has an element for each state.
  void attribute(unsigned long long interval, std::span<unsigned long long> ticks);

  /// Ticks of each state that were spent within the intervals so far, and that none of them got.
  std::vector<unsigned long long> remainder() const;

 private:
  void take(std::span<unsigned long long> growth);

  std::vector<unsigned long long> carry_;     // since the start
  std::vector<unsigned long long> stranded_;  // from before it
  unsigned long long open_ = 0;               // time since the start that is attributed to no state
};

}  // namespace tavrin
