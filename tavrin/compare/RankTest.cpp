#include "tavrin/compare/RankTest.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tavrin {

namespace {

/// Twice the ranks of all values, those of `a` first: whole numbers, as equal values share the mean
/// of theirs.
std::vector<std::size_t> doubledRanks(const std::vector<double>& a, const std::vector<double>& b) {
  std::vector<double> values = a;
  values.insert(values.end(), b.begin(), b.end());
  std::vector<double> sorted = values;
  std::ranges::sort(sorted);
  std::vector<std::size_t> ranks;
  for (const double value : values) {
    const auto [first, last] = std::equal_range(sorted.begin(), sorted.end(), value);
    ranks.push_back(
        static_cast<std::size_t>((first - sorted.begin()) + 1 + (last - sorted.begin())));
  }
  return ranks;
}

/// The share of all choices of `count` ranks whose sum is as far from the middle as `sum` or more.
double exactProbability(const std::vector<std::size_t>& ranks, std::size_t count, std::size_t sum) {
  const std::size_t total = std::accumulate(ranks.begin(), ranks.end(), std::size_t{0});
  // ways[n][s]: choices of n of the ranks seen so far with the sum s.
  std::vector<std::vector<double>> ways(count + 1, std::vector<double>(total + 1));
  ways[0][0] = 1.0;
  for (const std::size_t rank : ranks) {
    for (std::size_t n = count; n > 0; --n) {
      for (std::size_t s = total; s >= rank; --s) ways[n][s] += ways[n - 1][s - rank];
    }
  }
  // In units of 1 / ranks.size(), so that the middle is whole.
  const auto distance = [&](std::size_t s) {
    const std::size_t scaled = s * ranks.size();
    const std::size_t middle = total * count;
    return scaled > middle ? scaled - middle : middle - scaled;
  };
  double all = 0.0;
  double far = 0.0;
  for (std::size_t s = 0; s <= total; ++s) {
    all += ways[count][s];
    if (distance(s) >= distance(sum)) far += ways[count][s];
  }
  return far / all;
}

/// The same by the normal distribution with the ranks' mean and variance.
double normalProbability(const std::vector<std::size_t>& ranks, std::size_t count,
                         std::size_t sum) {
  const auto all = static_cast<double>(ranks.size());
  const auto chosen = static_cast<double>(count);
  const double mean = std::accumulate(ranks.begin(), ranks.end(), 0.0) / all;
  double squares = 0.0;
  for (const std::size_t rank : ranks) squares += std::pow(static_cast<double>(rank) - mean, 2);
  const double variance = squares / all * chosen * (all - chosen) / (all - 1.0);
  if (variance <= 0.0) return 1.0;
  const double deviation = std::abs(static_cast<double>(sum) - chosen * mean);
  return std::erfc(deviation / std::sqrt(2.0 * variance));
}

}  // namespace

double rankTest(const std::vector<double>& a, const std::vector<double>& b) {
  if (a.empty() || b.empty()) return 1.0;
  const std::vector<std::size_t> ranks = doubledRanks(a, b);
  const auto end = ranks.begin() + static_cast<std::ptrdiff_t>(a.size());
  const std::size_t sum = std::accumulate(ranks.begin(), end, std::size_t{0});
  return ranks.size() <= kMostExact ? exactProbability(ranks, a.size(), sum)
                                    : normalProbability(ranks, a.size(), sum);
}

std::vector<double> adjustForMany(const std::vector<double>& probabilities) {
  std::vector<std::size_t> order(probabilities.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, std::ranges::greater(), [&](std::size_t i) { return probabilities[i]; });
  std::vector<double> adjusted(probabilities.size());
  const auto count = static_cast<double>(probabilities.size());
  double least = 1.0;
  for (std::size_t i = 0; i < order.size(); ++i) {
    const double rank = count - static_cast<double>(i);
    least = std::min(least, probabilities[order[i]] * count / rank);
    adjusted[order[i]] = least;
  }
  return adjusted;
}

}  // namespace tavrin
