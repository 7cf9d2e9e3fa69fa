#pragma once

#include <cstdint>
#include <string>

namespace lines {

/// Counts the series of a run (fields of a measurement with its tags) against their limit, and what
/// its lines lack for that and other causes. Each cause is told once.
class LineTally {
 public:
  explicit LineTally(std::uint64_t mostSeries) : most_(mostSeries) {}

  /// Takes `count` more series. False, which is told, when they are too many.
  bool take(std::uint64_t count = 1);
  /// Gives back what was taken for series that are not known any more.
  void giveBack(std::uint64_t count) { taken_ -= count; }
  bool isReached() const { return isReached_; }

  // Values that are not in the lines as they came.
  std::uint64_t folded = 0;     ///< of processes and states: they are in "others"
  std::uint64_t beyond = 0;     ///< of further series: left out
  std::uint64_t notFinite = 0;  ///< left out
  /// Of a series that has one of the same time, which engines replace.
  std::uint64_t sameTime = 0;
  std::uint64_t outOfTime = 0;   ///< of a time that engines cannot have: left out
  std::uint64_t cutTexts = 0;    ///< texts of tags that were too long
  std::uint64_t attributes = 0;  ///< attributes that a metric has too many of: left out

  /// Tells that integers of the metric have lost digits.
  void noteLargeInteger(const std::string& metric);
  /// Tells of the counts above.
  void tell() const;

 private:
  const std::uint64_t most_;
  std::uint64_t taken_ = 0;
  bool isReached_ = false;
  bool hasToldOfIntegers_ = false;
};

}  // namespace lines
