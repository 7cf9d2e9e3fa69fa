#pragma once

#include <cstdint>
#include <unordered_map>
#include <utility>

#include "writers/host/Quantity.h"
#include "writers/timeline/InfoRecords.h"

/// The infos of quantities: each is written when it is first asked for, after that of its rate.
class QuantityInfos {
 public:
  explicit QuantityInfos(InfoRecords& infos) : infos_(infos) {}

  /// The id by which data records refer to the quantity, which must not be null. All ones when its
  /// info could not be written (logged), also on every later call.
  std::uint64_t idOf(const pwr::Quantity* quantity) {
    // The samples of a metric, which come in a row, have one quantity.
    return quantity == last_.first ? last_.second : lookUp_i(quantity);
  }

 private:
  std::uint64_t lookUp_i(const pwr::Quantity* quantity);
  std::uint64_t write_i(const pwr::Quantity& quantity);

  InfoRecords& infos_;
  std::unordered_map<const pwr::Quantity*, std::uint64_t> ids_;
  std::pair<const pwr::Quantity*, std::uint64_t> last_{nullptr, pwrfile::kNone};
};
