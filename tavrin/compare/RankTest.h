#pragma once

#include <vector>

namespace tavrin {

/// How probable it is that two samples of one population are as different as these or more, by
/// their ranks (Mann and Whitney, two-sided; equal values share their mean rank). Exact up to
/// `kMostExact` values in both, from there on by the normal distribution. 1 where one has none.
double rankTest(const std::vector<double>& a, const std::vector<double>& b);
inline constexpr std::size_t kMostExact = 40;

/// The probabilities of many tests, adjusted so that of those below a bound at most this share is
/// expected to be wrong (Benjamini and Hochberg). In their order.
std::vector<double> adjustForMany(const std::vector<double>& probabilities);

}  // namespace tavrin
