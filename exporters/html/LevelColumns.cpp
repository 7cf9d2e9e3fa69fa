#include "exporters/html/LevelColumns.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "exporters/html/PageText.h"

namespace {

constexpr double kMostQuantum = 65534.0;
constexpr std::uint16_t kNothing = 65535;
constexpr double kMostShare = 65535.0;

/// What a page tells of one bin of values, in the unit that is shown.
struct ValueSummary {
  double minimum = 0.0;
  double mean = 0.0;
  double maximum = 0.0;
  double covered = 0.0;  ///< share of the bin, of which the mean is
  bool isEmpty = true;

  void merge(const ValueSummary& other) {
    if (other.isEmpty) return;
    minimum = isEmpty ? other.minimum : std::min(minimum, other.minimum);
    maximum = isEmpty ? other.maximum : std::max(maximum, other.maximum);
    const double both = covered + other.covered;
    mean =
        isEmpty ? other.mean : std::lerp(mean, other.mean, both > 0.0 ? other.covered / both : 0.5);
    covered = both;
    isEmpty = false;
  }
};

/// The time of each bin that is of the run, as a part of it: the run may end within the last one.
double partOfRun(const BinGrid& grid, std::size_t bin, long long end) {
  const long long ticks = std::clamp(end - grid.startOf(bin), 1LL, grid.width());
  return static_cast<double>(ticks) / static_cast<double>(grid.width());
}

std::vector<ValueSummary> finestOf(const PageSeries& series, std::size_t bins, const BinGrid& grid,
                                   long long end, double ticksPerSecond) {
  const ValueScale& scale = series.metric->meaning.scale;
  const double factor = scale.factor * (scale.isRate ? ticksPerSecond : 1.0);
  const bool isAggregate = series.members > 0;
  const auto members = static_cast<double>(std::max<std::size_t>(series.members, 1));
  const auto width = static_cast<double>(grid.width());
  std::vector<ValueSummary> summaries(bins);
  for (std::size_t n = 0; n < bins; ++n) {
    const ValueBin& bin = (*series.values)[n];
    if (bin.isEmpty()) continue;
    ValueSummary& summary = summaries[n];
    summary = {bin.minimum * factor, bin.mean() * factor, bin.maximum * factor,
               std::min(1.0, bin.covered / (width * members)), false};
    // Rates add up, whether all of the members are there or only some; what is known of the sum is
    // its mean.
    if (isAggregate && scale.isRate) {
      summary.covered = partOfRun(grid, n, end);
      summary.mean = bin.sum / (width * summary.covered) * factor;
      summary.minimum = summary.maximum = summary.mean;
    }
  }
  return summaries;
}

/// Of the next level.
std::vector<ValueSummary> coarser(const std::vector<ValueSummary>& finer, std::size_t bins) {
  std::vector<ValueSummary> summaries(bins);
  for (std::size_t n = 0; n < finer.size(); ++n) summaries[n / PageLevel::kStep].merge(finer[n]);
  for (ValueSummary& summary : summaries) {
    summary.covered /= static_cast<double>(PageLevel::kStep);
  }
  return summaries;
}

struct Scale {
  double low = 0.0;
  double high = 0.0;

  std::uint16_t quantum(double value) const {
    if (high <= low) return 0;
    const double share = (value / 2 - low / 2) / (high / 2 - low / 2);
    return static_cast<std::uint16_t>(std::lround(std::clamp(share, 0.0, 1.0) * kMostQuantum));
  }
  std::string text() const { return "[" + jsonNumber(low) + "," + jsonNumber(high) + "]"; }
};

/// Of all bins that are not empty; finite, also their difference.
Scale scaleOf(const std::vector<ValueSummary>& summaries) {
  constexpr double kMost = 0x1p1022;
  Scale scale;
  bool isFirst = true;
  for (const ValueSummary& summary : summaries) {
    if (summary.isEmpty) continue;
    scale.low = isFirst ? summary.minimum : std::min(scale.low, summary.minimum);
    scale.high = isFirst ? summary.maximum : std::max(scale.high, summary.maximum);
    isFirst = false;
  }
  return {std::clamp(scale.low, -kMost, kMost), std::clamp(scale.high, -kMost, kMost)};
}

std::string valueLevel(const std::vector<ValueSummary>& summaries, const Scale& scale,
                       ColumnWriter& columns) {
  std::vector<std::uint16_t> words(summaries.size());
  const auto column = [&](double ValueSummary::*part) {
    std::ranges::transform(summaries, words.begin(), [&](const ValueSummary& summary) {
      return summary.isEmpty ? kNothing : scale.quantum(summary.*part);
    });
    return columns.words(words);
  };
  std::vector<std::uint8_t> covered(summaries.size());
  std::ranges::transform(summaries, covered.begin(), [](const ValueSummary& summary) {
    return static_cast<std::uint8_t>(std::lround(std::min(1.0, summary.covered) * 255.0));
  });
  std::string level = "{\"minimum\":" + column(&ValueSummary::minimum);
  level += ",\"mean\":" + column(&ValueSummary::mean);
  level += ",\"maximum\":" + column(&ValueSummary::maximum);
  return level + ",\"covered\":" + columns.bytes(covered) + "}";
}

/// The longest first.
void sortSlots(StateBin& bin) {
  for (std::size_t n = 1; n < bin.used; ++n) {
    for (std::size_t m = n; m > 0 && bin.ticks[m] > bin.ticks[m - 1]; --m) {
      std::swap(bin.ticks[m], bin.ticks[m - 1]);
      std::swap(bin.state[m], bin.state[m - 1]);
    }
  }
}

/// The columns of the states in one place of all bins. The others come behind the last one.
struct SlotColumns {
  std::vector<std::uint16_t> states;
  std::vector<std::uint16_t> shares;
};

std::vector<SlotColumns> slotsOf(std::vector<StateBin>& bins, double width, std::uint16_t others) {
  std::vector<SlotColumns> slots;
  const auto put = [&](std::size_t slot, std::size_t bin, std::uint16_t state, double ticks) {
    while (slots.size() <= slot) {
      slots.push_back(
          {std::vector<std::uint16_t>(bins.size()), std::vector<std::uint16_t>(bins.size())});
    }
    const double share = std::clamp(ticks / width, 0.0, 1.0);
    slots[slot].states[bin] = state;
    slots[slot].shares[bin] = static_cast<std::uint16_t>(std::lround(share * kMostShare));
  };
  for (std::size_t n = 0; n < bins.size(); ++n) {
    sortSlots(bins[n]);
    for (std::size_t slot = 0; slot < bins[n].used; ++slot) {
      put(slot, n, bins[n].state[slot], bins[n].ticks[slot]);
    }
    if (bins[n].others > 0.0) put(bins[n].used, n, others, bins[n].others);
  }
  return slots;
}

std::string stateLevel(std::vector<StateBin> bins, double width, std::uint16_t others,
                       ColumnWriter& columns) {
  std::string list;
  for (const SlotColumns& slot : slotsOf(bins, width, others)) {
    list += list.empty() ? "{\"state\":" : ",{\"state\":";
    if (others <= 0xFF) {
      list += columns.bytes(std::vector<std::uint8_t>(slot.states.begin(), slot.states.end()));
    } else {
      list += columns.words(slot.states);
    }
    list += ",\"share\":" + columns.words(slot.shares) + "}";
  }
  return "{\"slots\":[" + list + "]}";
}

template <typename Bin>
std::vector<Bin> mergedBins(const std::vector<Bin>& finer, std::size_t bins) {
  std::vector<Bin> merged(bins);
  for (std::size_t n = 0; n < finer.size(); ++n) merged[n / PageLevel::kStep].merge(finer[n]);
  return merged;
}

template <typename Bin>
std::vector<Bin> firstBins(const Bins<Bin>& all, std::size_t count) {
  std::vector<Bin> first;
  first.reserve(count);
  for (std::size_t n = 0; n < count; ++n) first.push_back(all[n]);
  return first;
}

}  // namespace

std::string LevelColumns::ofValues(const PageSeries& series, ColumnWriter& columns) const {
  auto summaries = finestOf(series, levels_.front().bins, grid_, end_, ticksPerSecond_);
  const Scale scale = scaleOf(summaries);
  std::string list;
  for (const PageLevel& level : levels_) {
    if (!list.empty()) {
      summaries = coarser(summaries, level.bins);
      list += ",";
    }
    list += valueLevel(summaries, scale, columns);
  }
  return "\"scale\":" + scale.text() + ",\"levels\":[" + list + "]";
}

std::string LevelColumns::ofStates(const PageSeries& series, ColumnWriter& columns) const {
  const auto others = static_cast<std::uint16_t>(series.metric->states.texts().size());
  auto width = static_cast<double>(grid_.width()) *
               static_cast<double>(std::max<std::size_t>(series.members, 1));
  auto bins = firstBins(*series.states, levels_.front().bins);
  std::string list;
  for (const PageLevel& level : levels_) {
    if (!list.empty()) {
      bins = mergedBins(bins, level.bins);
      width *= static_cast<double>(PageLevel::kStep);
      list += ",";
    }
    list += stateLevel(bins, width, others, columns);
  }
  return "\"levels\":[" + list + "]";
}

std::string LevelColumns::ofEvents(const PageSeries& series, ColumnWriter& columns) const {
  double most = kMostQuantum;
  std::vector<std::vector<EventBin>> all{firstBins(*series.events, levels_.front().bins)};
  for (std::size_t n = 1; n < levels_.size(); ++n) {
    all.push_back(mergedBins(all.back(), levels_[n].bins));
  }
  for (const EventBin& bin : all.back()) most = std::max(most, bin.count);
  const Scale scale{0.0, most};
  std::string list;
  for (const std::vector<EventBin>& level : all) {
    std::vector<std::uint16_t> words;
    words.reserve(level.size());
    for (const EventBin& bin : level) words.push_back(scale.quantum(bin.count));
    list += (list.empty() ? "{\"count\":" : ",{\"count\":") + columns.words(words) + "}";
  }
  return "\"scale\":" + scale.text() + ",\"levels\":[" + list + "]";
}
