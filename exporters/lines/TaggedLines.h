#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "exporters/lines/LineOutput.h"
#include "exporters/lines/LineTally.h"
#include "exporters/lines/MetricNames.h"

namespace lines {

/// The lines of values that have tags of their own: states and other texts, values with attributes,
/// and what processes used. There may be any number of such tags: what is beyond the limit of
/// series goes into one more series "others" of the same entity, whose room is taken beforehand.
class TaggedLines {
 public:
  TaggedLines(MetricNames& names, LineOutput& output, LineTally& tally, double ticksPerSecond);
  TaggedLines(const TaggedLines&) = delete;
  TaggedLines& operator=(const TaggedLines&) = delete;

  /// Takes an element with a number or a text, which has to live until `finish`.
  void add(const pwr::DataElement& element);
  /// Ends a data point: of the processes that have no series yet, those that used most get one as
  /// long as there is room. The values of all others are added up.
  void finish();
  /// Forgets all series, which gives room for others.
  void forget();

 private:
  struct Key {
    const pwr::EntityHandle* entity;
    const pwr::DataDescriptor* descriptor;
    std::string tags;
  };
  /// A key that is looked for.
  struct Sought {
    const pwr::EntityHandle* entity;
    const pwr::DataDescriptor* descriptor;
    std::string_view tags;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const Sought& key) const;
    std::size_t operator()(const Key& key) const {
      return (*this)(Sought{key.entity, key.descriptor, key.tags});
    }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(const auto& one, const auto& other) const {
      return one.entity == other.entity && one.descriptor == other.descriptor &&
             std::string_view(one.tags) == std::string_view(other.tags);
    }
  };
  struct Series {
    std::string head;
    std::string field;              // with '='
    std::uint64_t latest = kNever;  // nanoseconds
    std::uint32_t attributes = 0;   // a bit for each that it has had
    bool hasSum = false;            // the sum below is of this data point
    double sum = 0.0;               // of processes
  };
  static constexpr std::uint64_t kNever = ~std::uint64_t{0};

  void spell(const pwr::DataElement& element);
  void spellAttribute(const std::string& name, const pwr::Quantity* quantity,
                      const pwr::Data& value);
  void addTag(std::string_view key, const pwr::Data& value);
  void addProcess(const pwr::DataElement& element);
  Series* known(const pwr::DataElement& element, std::string_view tags);
  Series* make(const pwr::DataElement& element, std::string_view tags);
  Series* othersOf(const pwr::DataElement& element);
  Series* seriesOf(const pwr::DataElement& element);
  void addToOthers(const pwr::DataElement& element, double value);
  void write(Series& series, const pwr::Data& value);
  bool appendNumber(const ValueText& values, const pwr::Data& number);
  void end(Series& series);
  const pwr::DataDescriptor* descriptorOf(const pwr::DataElement& element) const;

  MetricNames& names_;
  LineOutput& output_;
  LineTally& tally_;
  const bool isPerProcess_;
  const bool hasRanks_;  // descriptors say in which place of an order a process was
  std::unordered_map<Key, Series, Hash, Equal> series_;

  // Of the element at hand:
  std::string tags_;
  std::string text_;
  std::vector<std::pair<const MetricNames::Attribute*, const pwr::Data*>> numbers_;
  bool hasPid_ = false;
  bool isText_ = false;
  std::string fields_;
  // Of the data point:
  std::vector<std::pair<double, const pwr::DataElement*>> waiting_;
  std::vector<Series*> sums_;
};

}  // namespace lines
