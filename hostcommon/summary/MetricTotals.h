#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "hostcommon/summary/SeriesKey.h"
#include "writers/host/Metric.h"

namespace pwr {

/// What is known of one series (entity, descriptor and, where values are texts or states, value)
/// at the end of the run.
struct SeriesTotals {
  const EntityHandle* entity = nullptr;
  const DataDescriptor* descriptor = nullptr;
  bool isText = false;
  std::string value;  ///< of a text
  unsigned long long count = 0;
  unsigned long long durationTicks = 0;
  double sum = 0.0;
  double weightedSum = 0.0;  ///< of values times their durations, in ticks
  double minimum = 0.0;
  double maximum = 0.0;
  bool whole = true;                ///< every value was an integer
  unsigned long long wholeSum = 0;  ///< of the integers, modulo 2^64

  /// `number` is the addend as a real.
  void addToSum(const Data& addend, double number);
  /// Adds the sums of another series of the same length at most.
  void addTotals(const SeriesTotals& other);
  /// The sum: an integer, exact, where every value was one and the sum fits 64 bits; else a real.
  Data total() const;
};

/// Adds up the samples of one metric as they pass, in memory that depends on the number of series
/// only, and of `kMostTexts` texts at most. Adding a number of a known series allocates nothing.
///
/// A state or text that came without a duration lasts until the next one of its entity and
/// descriptor when the metric traces transitions.
class MetricTotals {
 public:
  /// How many different texts a metric may have; what further ones add up to is `others`.
  static constexpr std::size_t kMostTexts = 65536;
  /// Numbers that are traced are levels, if they are this many at most.
  static constexpr std::size_t kMostLevels = 24;

  explicit MetricTotals(const MetricDescription* metric);

  void add(const Metric::DataPoint& point);
  /// Adds to the sums only.
  void addRemainder(const Metric::DataPoint& point);
  /// To be called after the last `add`: what lasts until the next state has lasted until the end of
  /// the collection, at `timestamp`.
  void endStates(unsigned long long timestamp);

  /// The same with other series, those of its things that are not among them left out.
  MetricTotals withSeries(std::vector<SeriesTotals> series) const;

  const MetricDescription* metric() const { return metric_; }
  /// In the order of first appearance.
  const std::vector<SeriesTotals>& series() const { return series_; }
  const SeriesTotals& others() const { return others_; }
  /// The series of numbers; null when there is none.
  const SeriesTotals* find(const EntityHandle* entity, const DataDescriptor* descriptor) const;
  /// Of the metric's combinations those that no value came of, each once; none of events.
  std::vector<Metric::EntityDescCombo> silent() const;
  unsigned long long messages() const { return messages_; }
  unsigned long long values() const { return values_; }
  /// True when some value was not a number.
  bool isCategorical() const { return categorical_; }
  /// True for a metric that traces transitions within a finite set: its values are states, also
  /// where they are numbers.
  bool hasStates() const { return hasStates_; }
  /// Of a metric that traces transitions of numbers without telling which ones: the same with the
  /// numbers as states, such as the frequencies of a CPU. Null where they are too many, not all
  /// values are numbers, or they are temperatures.
  const MetricTotals* levels() const { return levels_.get(); }

 private:
  /// The texts of an entity and descriptor, and which of them lasts.
  struct Category {
    std::map<std::string, std::size_t> byText;
    std::size_t lasting = kNone;
    unsigned long long since = 0;
  };
  MetricTotals(const MetricDescription* metric, bool hasStates)
      : metric_(metric), hasStates_(hasStates) {}
  void addLevels(const Metric::DataPoint& point);

  static constexpr std::size_t kNone = ~std::size_t{0};
  static constexpr std::size_t kOthers = kNone - 1;

  void addNumber(const DataElement& element, double number);
  void addText(const DataElement& element, unsigned long long timestamp);
  SeriesTotals& find(const DataElement& element);
  std::size_t findText(const SeriesKey& key, Category& category);
  SeriesTotals& at(std::size_t index) { return index == kOthers ? others_ : series_[index]; }
  void end(Category& category, unsigned long long timestamp);

  const MetricDescription* metric_;
  bool hasStates_;
  std::shared_ptr<MetricTotals> levels_;  // shared by copies, which are made when all is added
  std::set<std::string> levelValues_;
  std::vector<SeriesTotals> series_;
  SeriesTotals others_;
  std::vector<SeriesKey> leftOut_;
  std::size_t next_ = 0;  // the place in series_ after the one found last
  std::unordered_map<SeriesKey, std::size_t, SeriesKeyHash> numeric_;
  std::unordered_map<SeriesKey, Category, SeriesKeyHash> categories_;
  std::size_t texts_ = 0;
  std::string text_;  // reused
  unsigned long long messages_ = 0;
  unsigned long long values_ = 0;
  bool categorical_ = false;
};

}  // namespace pwr
