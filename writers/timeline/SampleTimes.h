#pragma once

#include <cstdint>
#include <string>
#include <utility>

/// The time order of one series of samples (metric, descriptor and entity).
class SampleTimes {
 public:
  /// `key` names the series in messages. Times are in ticks.
  SampleTimes(std::string key, std::uint64_t collectionStart)
      : key_(std::move(key)), start_(collectionStart), last_(collectionStart) {}

  /// To be called once for every sample before its record is written. Returns 0 when the sample may
  /// be written: it is later than the one before it, or both are at the very start of the
  /// collection. Otherwise logs what is wrong and returns 1; the sample must be dropped.
  int check(std::uint64_t tsc) {
    if (tsc <= last_) return checkNotLater_i(tsc);
    last_ = tsc;
    return 0;
  }

 private:
  int checkNotLater_i(std::uint64_t tsc) const;

  const std::string key_;
  const std::uint64_t start_;
  std::uint64_t last_;
};
