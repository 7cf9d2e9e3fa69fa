#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// The places of the busiest of an interval, and of all others together: what tells the elements of
/// one time apart. (Whose they are tell attributes: processes come and go, and there are too many
/// of them to have a series each.)
class Ranks {
 public:
  static constexpr std::size_t kMost = 20;

  void create() {
    for (std::size_t place = 0; place < kMost; ++place) {
      ranks_[place] = pwr::DataDescriptor::create(
          pwr::DataDescriptorBuilder("Busiest " + std::to_string(place + 1), ""));
    }
    others_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Others", ""));
  }

  const pwr::DataDescriptor* of(std::size_t place) const { return ranks_.at(place); }
  const pwr::DataDescriptor* others() const { return others_; }
  std::vector<pwr::Metric::EntityDescCombo> combinations(
      const pwr::EntityHandle* entity = nullptr) const {
    std::vector<pwr::Metric::EntityDescCombo> combinations;
    for (const pwr::DataDescriptor* rank : ranks_) combinations.push_back({entity, rank});
    combinations.push_back({entity, others_});
    return combinations;
  }

 private:
  std::array<const pwr::DataDescriptor*, kMost> ranks_{};
  const pwr::DataDescriptor* others_ = nullptr;
};

}  // namespace tavrin
