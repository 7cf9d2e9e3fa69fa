#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "exporters/sqlite/Database.h"
#include "writers/common/SeriesIndex.h"
#include "writers/host/Metric.h"

namespace sqlite {

/// What is known of a series while its points come.
struct SeriesState {
  std::uint32_t number = 0;  ///< counted from 1
  bool hasPoints = false;
  std::int64_t latest = 0;      ///< time of its points
  std::int64_t latecomers = 0;  ///< points that were not after the latest one

  /// The place of a new point among those of the series at the same time, in order of arrival: 0
  /// for the first one. What does not come after all others gets a number that the series has never
  /// had, so that no two points are at one place.
  std::int64_t sequenceAt(std::int64_t time) {
    if (hasPoints && time <= latest) return ++latecomers;
    hasPoints = true;
    latest = time;
    return 0;
  }
};

/// The metrics, entities, descriptors and series of a run, each numbered from 1 in the order in
/// which they came. Descriptions live as long as the process: only pointers are kept.
class Catalog {
 public:
  struct Metric {
    std::uint32_t number = 0;
    SeriesIndex<SeriesState> series;
  };

  /// A metric that is new is numbered, and with it the series that its description announces. Valid
  /// as long as the catalog.
  Metric& find(const pwr::MetricDescription& description);
  /// The series of the pair, either of which may be null. Valid until the next call for the metric.
  SeriesState& find(Metric& metric, const pwr::EntityHandle* entity,
                    const pwr::DataDescriptor* descriptor) {
    return metric.series.find(entity, descriptor,
                              [&] { return addSeries(metric.number, entity, descriptor); });
  }

  /// Inserts what was found. `ticksPerMicrosecond`: of the timestamp clock.
  void write(Database& database, double ticksPerMicrosecond) const;

 private:
  /// Descriptions that have numbers, in the order of these. A copy is what it was copied from.
  template <typename Description>
  struct Numbered {
    std::vector<const Description*> list;
    std::unordered_map<unsigned long long, std::uint32_t> numbers;  // by id

    /// 0 when it is not known.
    std::uint32_t of(const Description* description) const {
      const auto place = numbers.find(description->getId());
      return place == numbers.end() ? 0 : place->second;
    }
    std::uint32_t add(const Description* description) {
      list.push_back(description);
      return numbers[description->getId()] = static_cast<std::uint32_t>(list.size());
    }
  };
  /// By the numbers of what it consists of; 0 where there is no entity or descriptor.
  struct Series {
    std::uint32_t metric;
    std::uint32_t entity;
    std::uint32_t descriptor;
  };

  SeriesState addSeries(std::uint32_t metric, const pwr::EntityHandle* entity,
                        const pwr::DataDescriptor* descriptor);
  std::uint32_t numberOf(const pwr::EntityHandle* entity);
  std::uint32_t numberOf(const pwr::DataDescriptor* descriptor);
  void writeMetrics(Database& database, double ticksPerMicrosecond) const;
  void writeDescriptions(Database& database) const;

  std::unordered_map<unsigned int, Metric> metrics_;  // by id
  unsigned int latestId_ = 0;
  Metric* latest_ = nullptr;  // the one with that id
  std::vector<const pwr::MetricDescription*> described_;
  std::vector<Series> series_;
  Numbered<pwr::EntityHandle> entities_;
  Numbered<pwr::DataDescriptor> descriptors_;
};

}  // namespace sqlite
