#include "tavrin/ship/Backoff.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>

namespace tavrin {

namespace {

constexpr Backoff::Duration kFirst{1.0};
constexpr Backoff::Duration kMostAsked{3600.0};
/// Of what was asked for, on top of it.
constexpr double kAskedSpread = 0.1;

}  // namespace

Backoff::Backoff(Duration most, unsigned int seed) : most_(most), random_(seed) {}

Backoff::Duration Backoff::spread(Duration wait) {
  return wait * std::uniform_real_distribution<double>(0.5, 1.0)(random_);
}

Backoff::Duration Backoff::next(std::optional<Duration> asked) {
  wait_ = std::min(wait_.count() > 0.0 ? wait_ * 2.0 : kFirst, most_);
  const Duration own = spread(wait_);
  if (!asked || *asked <= own) return own;
  return *asked + spread(*asked * kAskedSpread);
}

Backoff::Duration Backoff::longest() {
  wait_ = most_;
  return spread(wait_);
}

std::optional<Backoff::Duration> retryAfter(const std::string& text,
                                            std::chrono::system_clock::time_point now) {
  double seconds = 0.0;
  unsigned long long number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (rest == end && error == std::errc()) {
    seconds = static_cast<double>(number);
  } else if (rest == text.data()) {  // begins with no digit, as the name of a day
    const std::time_t date = curl_getdate(text.c_str(), nullptr);
    if (date < 0) return {};
    seconds = Backoff::Duration(std::chrono::system_clock::from_time_t(date) - now).count();
  } else if (error == std::errc::result_out_of_range) {
    seconds = kMostAsked.count();
  }
  if (!(seconds > 0.0)) return {};
  return std::min(Backoff::Duration(seconds), kMostAsked);
}

}  // namespace tavrin
