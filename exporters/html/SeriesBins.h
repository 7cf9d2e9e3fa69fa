#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "exporters/html/BinGrid.h"

/// What is known of one bin of values.
struct ValueBin {
  double sum = 0.0;      ///< of values times the ticks that they cover
  double covered = 0.0;  ///< ticks
  double minimum = 0.0;
  double maximum = 0.0;

  bool isEmpty() const { return covered == 0.0; }
  double mean() const { return sum / covered; }
  void add(double value, double ticks);
  void merge(const ValueBin& other);
};

/// What is known of one bin of states: the time in the first of them, and in all others.
struct StateBin {
  static constexpr std::size_t kSlots = 8;

  std::array<double, kSlots> ticks{};
  std::array<std::uint16_t, kSlots> state{};
  std::uint16_t used = 0;
  double others = 0.0;  ///< ticks of further states

  /// A state that finds no place takes that of the shortest one, if it is longer.
  void add(std::uint16_t which, double howLong);
  void merge(const StateBin& other);
};

struct EventBin {
  double count = 0.0;

  bool isEmpty() const { return count == 0.0; }
  void merge(const EventBin& other) { count += other.count; }
};

/// The bins of a series.
template <typename Bin>
class Bins {
 public:
  explicit Bins(std::size_t capacity) : bins_(capacity) {}

  Bin& operator[](std::size_t place) { return bins_[place]; }
  const Bin& operator[](std::size_t place) const { return bins_[place]; }
  std::size_t size() const { return bins_.size(); }

  /// Two bins become one, as when the grid is widened.
  void mergePairs() {
    const std::size_t half = bins_.size() / 2;
    for (std::size_t n = 0; n < half; ++n) {
      Bin both = bins_[2 * n];
      both.merge(bins_[2 * n + 1]);
      bins_[n] = both;
    }
    for (std::size_t n = half; n < bins_.size(); ++n) bins_[n] = Bin();
  }
  /// Leaves out the bins behind the first `count`.
  void shrink(std::size_t count) {
    bins_.resize(count);
    bins_.shrink_to_fit();
  }

 private:
  std::vector<Bin> bins_;
};

using ValueBins = Bins<ValueBin>;
using StateBins = Bins<StateBin>;
using EventBins = Bins<EventBin>;

/// Calls `visit(bin, ticks)` for every bin that [start, end), which is within the grid, covers.
template <typename Visit>
void forEachBin(const BinGrid& grid, long long start, long long end, const Visit& visit) {
  std::size_t bin = grid.binOf(start);
  const std::size_t last = grid.binOf(end - 1);
  if (bin == last) return visit(bin, static_cast<double>(end - start));
  visit(bin, static_cast<double>(grid.startOf(bin + 1) - start));
  while (++bin < last) visit(bin, static_cast<double>(grid.width()));
  visit(last, static_cast<double>(end - grid.startOf(last)));
}
