#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "exporters/sqlite/Database.h"
#include "writers/host/Metric.h"

namespace sqlite {

/// Points on their way into the database. They come by time and lie there by series: each would
/// need a page of its own series, for thousands of series more pages than the cache has. Some ten
/// thousand points therefore wait in memory and are inserted series by series (sqlite_benchmark in
/// ./bench). A bounded piece of memory, whatever comes.
///
/// A text of more than some hundred bytes goes into a table of its own at once, and what waits is a
/// BLOB with the digits of its number there: to find the place of a point, SQLite reads other
/// points, whole ones.
class PointStage {
 public:
  explicit PointStage(Database& database) : database_(database) {}

  /// `time` is in ticks from the start of the collection, `sequence` tells points of one series and
  /// time apart.
  void add(std::uint32_t series, std::int64_t time, std::int64_t sequence,
           const pwr::DataElement& element) {
    const unsigned long long duration = element.getDuration();
    points_.push_back({time, sequence, duration == 0 ? Cell(nullptr) : cellOf(duration),
                       valueOf(element), attributesOf(element)});
    order_.push_back(std::uint64_t{series} << kSeriesShift | order_.size());
    if (order_.size() == kMostPoints || texts_.size() > kMostTexts) insert();
  }
  /// Inserts all that wait.
  void insert();

 private:
  static constexpr std::size_t kMostPoints = std::size_t{1} << 16U;
  static constexpr std::size_t kMostTexts = std::size_t{4} << 20U;  // bytes
  static constexpr std::size_t kLongText = 400;                     // bytes of the longest in a row
  static constexpr unsigned int kSeriesShift = 32;

  struct Text {
    std::uint32_t start;  // in `texts_`
    std::uint32_t size;
    bool isNumber;  ///< that of a long text, in digits
  };
  using Cell = std::variant<std::nullptr_t, std::int64_t, double, Text>;
  struct Point {
    std::int64_t time;
    std::int64_t sequence;
    Cell duration;
    Cell value;
    Cell attributes;
  };

  Cell cellOf(std::nullptr_t) { return nullptr; }
  Cell cellOf(long long number) { return std::int64_t{number}; }
  Cell cellOf(unsigned long long number);
  Cell cellOf(double number) { return number; }
  Cell cellOf(const std::string& text);
  Cell valueOf(const pwr::DataElement& element);
  Cell attributesOf(const pwr::DataElement& element);
  Cell textFrom(std::size_t start);
  void bind(Insertion& row, int place, const Cell& cell) const;

  Database& database_;
  std::vector<Point> points_;         // in order of arrival
  std::vector<std::uint64_t> order_;  // series and place in `points_`
  std::string texts_;                 // of the points, valid UTF-8
  std::int64_t longTexts_ = 0;
};

}  // namespace sqlite
