#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "formats/pwr_format.h"
#include "writers/timeline/AttributeList.h"

/// The time order of one series of samples (metric, descriptor and entity).
class SampleTimes {
 public:
  /// `key` names the series in messages. Times are in ticks.
  SampleTimes(std::string key, std::uint64_t collectionStart)
      : key_(std::move(key)), start_(collectionStart), last_(collectionStart) {}

  /// To be called once for every sample before its record is written. Returns 0 when the sample may
  /// be written: it is later than the one before it, or both are at the very start of the
  /// collection. Otherwise returns 1, and the sample must be dropped. What is wrong is logged: the
  /// first time always, from then on for those who look for faults.
  int check(std::uint64_t tsc) {
    if (tsc <= last_) return checkNotLater_i(tsc);
    last_ = tsc;
    return 0;
  }

 private:
  int checkNotLater_i(std::uint64_t tsc);

  const std::string key_;
  const std::uint64_t start_;
  std::uint64_t last_;
  bool isFaultTold_ = false;
};

/// A state that lasts until the next transition of its series: its record lacks the duration.
class HeldState {
 public:
  bool isHeld() const { return isHeld_; }
  /// Of the transition, in ticks.
  std::uint64_t tsc() const { return tsc_; }

  void hold(std::uint64_t tsc, const AttributeList& list);
  /// Fills the list with what was held, and holds nothing any more.
  void release(AttributeList& list);

 private:
  bool isHeld_ = false;
  std::uint64_t tsc_ = 0;
  std::uint32_t count_ = 0;
  std::vector<std::byte> record_;
};

/// Ids of the info records that a field is known by, `pwrfile::kNone` for none.
struct SampleField {
  std::uint64_t id = pwrfile::kNone;
  std::uint64_t colorId = pwrfile::kNone;  ///< of a field that is a state
};

/// What is kept of one series of samples: of one metric, descriptor and entity.
struct SampleSeries {
  SampleTimes times;
  std::uint64_t entityId = pwrfile::kNone;
  SampleField field;
  HeldState held{};
};
