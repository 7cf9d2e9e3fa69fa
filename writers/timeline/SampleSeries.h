#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "formats/pwr_format.h"
#include "writers/timeline/AttributeList.h"
#include "writers/timeline/SampleTimes.h"

/// A state that lasts until the next transition of its series: its record lacks the duration.
class HeldState {
 public:
  bool isHeld() const { return isHeld_; }
  /// Of the transition, in ticks.
  std::uint64_t tsc() const { return tsc_; }

  void hold(std::uint64_t tsc, const AttributeList& list) {
    tsc_ = tsc;
    count_ = list.count;
    record_.assign(list.record.begin(),
                   list.record.begin() + static_cast<std::ptrdiff_t>(list.end()));
    isHeld_ = true;
  }
  /// Fills the list with what was held, and holds nothing any more.
  void release(AttributeList& list) {
    std::ranges::copy(record_, list.record.begin());
    list.count = count_;
    isHeld_ = false;
  }

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
  explicit SampleSeries(SampleTimes order) : times(std::move(order)) {}

  SampleTimes times;
  std::uint64_t entityId = pwrfile::kNone;
  SampleField field;
  HeldState held;
};
