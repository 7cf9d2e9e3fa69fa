#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// A point of a series: what was there in an interval. Times are in ticks from the start of the
/// collection.
struct PagePoint {
  long long start = 0;
  long long length = 0;           ///< 0: until the next point, or unknown
  double value = 0.0;             ///< or the index of a state or text
  std::span<const double> ticks;  ///< of residencies: the time in each state, by its index
  bool hasOwnLength = true;       ///< false: its length is the time to the next point
};

/// Appends `value` as LEB128 of its zigzag.
void appendVarint(std::string& bytes, long long value);

/// Times and whole values are told by their differences to those before, exactly so far.
inline constexpr long long kMostTicks = 1LL << 51;

/// The points of one series in few bytes: differences of times, and whole numbers, take as many as
/// they need.
class PointLog {
 public:
  /// Start and length are at most `kMostTicks`. A point has ticks or a value; all of a log have the
  /// same. Returns how many bytes of memory the log has more now.
  std::size_t append(const PagePoint& point);

  std::size_t count() const { return count_; }
  std::size_t capacity() const { return bytes_.capacity(); }
  /// Of the point that came last; 0 without one.
  long long lastEnd() const { return lastStart_ + lastLength_; }
  /// Puts points that came late into the order of their starts.
  void sort();
  /// Calls `visit` for every point.
  void forEach(const std::function<void(const PagePoint&)>& visit) const;
  /// Lets go of all points.
  void clear();

 private:
  std::string bytes_;
  std::size_t count_ = 0;
  long long lastStart_ = 0;
  long long lastLength_ = 0;
  bool isAscending_ = true;
};
