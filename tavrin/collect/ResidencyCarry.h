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
/// start, as what is more was spent before it and is not ours.
class ResidencyCarry {
 public:
  explicit ResidencyCarry(std::size_t states) : carry_(states) {}

  /// Starts again at this moment: nothing is carried.
  void restart();

  /// `ticks` holds the growth of each state's counter during the interval of `interval` ticks, and
  /// afterwards the ticks that the interval gets of each state. Where not all fits, the states get
  /// proportional parts; the total is exact. `ticks` has an element for each state.
  void attribute(unsigned long long interval, std::span<unsigned long long> ticks);

 private:
  std::vector<unsigned long long> carry_;
  unsigned long long open_ = 0;  // time since the start that is attributed to no state
};

}  // namespace tavrin
