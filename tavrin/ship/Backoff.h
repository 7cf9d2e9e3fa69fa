#pragma once

#include <chrono>
#include <optional>
#include <random>
#include <string>

namespace tavrin {

/// How long to wait after a failure: twice as long each time, up to a bound, and half of it by
/// chance, so that many who have failed together do not come back together.
class Backoff {
 public:
  using Duration = std::chrono::duration<double>;

  explicit Backoff(Duration most, unsigned int seed = std::random_device{}());

  /// The wait after one more failure; not less than `asked`, what the other side has asked for.
  Duration next(std::optional<Duration> asked = {});
  /// The wait after a failure that will hardly end by itself.
  Duration longest();
  /// Begins anew.
  void reset() { wait_ = Duration(0); }

 private:
  Duration spread(Duration wait);

  Duration most_;
  Duration wait_{0};
  std::minstd_rand random_;
};

/// How long a header "Retry-After" asks to wait: seconds, or a date, which is compared to `now`.
/// Bounded to an hour; nothing for what is neither or in the past.
std::optional<Backoff::Duration> retryAfter(const std::string& text,
                                            std::chrono::system_clock::time_point now);

}  // namespace tavrin
