#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <type_traits>
#include <vector>

/// How long a process or a thread had its number, in ticks, both ends included: all of the time
/// where nothing is known. A number is given again when its owner has ended.
struct Lifetime {
  std::uint64_t start = 0;
  std::uint64_t end = std::numeric_limits<std::uint64_t>::max();
};

/// The lifetimes of a number, or pointers to them, in the order of their starts.
template <typename Life>
using Lives = std::vector<Life>;

template <typename Life>
const Lifetime& lifetimeOf(const Life& life) {
  if constexpr (std::is_pointer_v<Life>) {
    return *life;
  } else {
    return life;
  }
}

/// Puts lifetimes into their order. What is told twice, with the same start, is one: the last
/// telling holds.
template <typename Life>
void sortLives(Lives<Life>& lives) {
  std::ranges::stable_sort(lives, {}, &Lifetime::start);
  std::size_t kept = 0;
  for (std::size_t next = 0; next < lives.size(); ++next) {
    if (kept > 0 && lives[kept - 1].start == lives[next].start) --kept;
    lives[kept++] = lives[next];
  }
  lives.resize(kept);
}

/// The one that had the number at `tsc`, or else the one whose lifetime is nearest to it. There
/// must be one.
template <typename Container>
auto& livingAt(Container& lives, std::uint64_t tsc) {
  const auto startOf = [](const auto& life) { return lifetimeOf(life).start; };
  const auto next = std::ranges::upper_bound(lives, tsc, {}, startOf);
  if (next == lives.begin()) return *next;
  const auto last = std::prev(next);
  const std::uint64_t end = lifetimeOf(*last).end;
  if (tsc <= end || next == lives.end()) return *last;
  return tsc - end <= startOf(*next) - tsc ? *last : *next;
}
