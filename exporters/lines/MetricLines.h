#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "exporters/lines/LineOutput.h"
#include "exporters/lines/LineTally.h"
#include "exporters/lines/MetricNames.h"
#include "exporters/lines/TaggedLines.h"
#include "writers/common/SeriesIndex.h"

namespace lines {

/// The lines of one metric. Of each data point a line per entity has the numbers of all
/// descriptors; what has tags of its own goes to `TaggedLines`.
class MetricLines {
 public:
  /// All have to live as long.
  MetricLines(const pwr::MetricDescription& metric, RunNames& run, LineOutput& output,
              LineTally& tally);

  /// Adds the lines of a message at the time that the output has.
  void add(const pwr::Metric& metric);
  /// Forgets what has tags of its own.
  void forgetTagged() { tagged_.forget(); }

 private:
  static constexpr std::uint64_t kNever = ~std::uint64_t{0};
  // Engines limit lines; what is longer is told in several.
  static constexpr std::size_t kMostFields = 16384;

  struct Row {
    std::string head;
    std::string fields;  // of the data point, so far
  };
  struct Field {
    std::string name;               // with '='
    std::uint64_t latest = kNever;  // nanoseconds
  };
  struct Series {
    Row* row = nullptr;  // none where there was no room for it
    Field field;
    std::unique_ptr<std::array<Field, 2>> ends;  // of ranges
  };

  void addElement(const pwr::DataElement& element);
  void addNumber(const pwr::DataElement& element);
  void addRange(const pwr::DataElement& element);
  /// False where there is no room for them.
  bool makeEnds(Series& series, const pwr::DataDescriptor* descriptor);
  Series& seriesOf(const pwr::DataElement& element);
  Row& rowOf(const pwr::EntityHandle* entity);
  void put(Row& row, Field& field, const pwr::Data& number);
  void putEnds(Series& series, const pwr::Data& first, const pwr::Data& last);
  void end(Row& row);

  LineTally& tally_;
  LineOutput& output_;
  MetricNames names_;
  TaggedLines tagged_;
  SeriesIndex<Series> series_;
  std::unordered_map<const pwr::EntityHandle*, Row> rows_;
  std::vector<Row*> touched_;  // rows with fields
};

}  // namespace lines
