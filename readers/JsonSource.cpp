#include <charconv>
#include <unordered_set>

#include "formats/ztjson_format.h"
#include "readers/ResultSource.h"
#include "readers/ZtjsonReader.h"

namespace tavrin {

namespace {

/// A trace, or the numbered files of a continuous run.
class JsonSource final : public ResultSource {
 public:
  void open(std::istream& file) override;
  bool next(Point& point) override;
  Clock clock() const override;
  std::vector<Fact> system() const override;

 private:
  std::uint32_t entityOf(std::string_view metric, std::string_view label);
  std::string_view kept(std::string_view text) { return *names_.emplace(text).first; }
  void describe(const ztjson::Metric& metric);
  std::uint32_t seriesOf(std::uint32_t metric, std::string_view label, std::string_view name);
  std::string_view fact(const char* key) const;
  template <typename Number>
  Number factNumber(const char* key) const;

  ztjson::ZtjsonReader reader_;
  std::unordered_set<std::string> names_;  ///< texts of points, which go with their document
  std::unordered_map<std::string, std::uint32_t> places_;  ///< of series
  std::string key_;
  ztjson::Point point_;
  std::size_t valueAt_ = 0;  ///< of the point, the next one
};

/// The texts of the reader's metrics may move when it learns of more.
void JsonSource::describe(const ztjson::Metric& metric) {
  Metric& known = metrics.emplace_back();
  known.name = kept(metric.name);
  known.feature = kept(metric.feature);
  known.kindName = kept(metric.kind);
  known.kind = kindOfWord(known.kindName);
  known.quantity = kept(metric.quantity);
  known.units = kept(metric.units);
  known.baseUnits = kept(metric.baseUnits);
  known.isRate = metric.isRate;
  if (metric.rate) {
    known.rate = {.name = kept(metric.rate->name),
                  .units = kept(metric.rate->units),
                  .factor = metric.rate->factor};
  }
  known.number = metric.id;
  for (const std::string& state : metric.states) known.states.push_back(kept(state));
  for (const ztjson::Combination& combination : metric.combinations) {
    known.combinations.push_back({.entity = entityOf(metric.name, kept(combination.entity)),
                                  .hasDescriptor = true,
                                  .descriptor = kept(combination.descriptor),
                                  .attributeText = kept(combination.text)});
  }
}

void JsonSource::open(std::istream& file) {
  point_.values.clear();
  valueAt_ = 0;
  reader_.open(file);
  for (std::size_t i = metrics.size(); i < reader_.metrics().size(); ++i) {
    describe(reader_.metrics()[i]);
  }
}

std::uint32_t JsonSource::seriesOf(std::uint32_t metric, std::string_view label,
                                   std::string_view name) {
  key_ = std::to_string(metric);
  for (const std::string_view part : {label, name}) (key_ += '\0') += part;
  const auto [place, isNew] = places_.try_emplace(key_, nextPlace(series));
  if (!isNew) return place->second;
  Series& known = series.emplace_back();
  known.metric = metric;
  known.entity = entityOf(metrics[metric].name, kept(label));
  known.descriptor = kept(name);
  known.label = kept(label);
  for (const MetricCombination& combination : metrics[metric].combinations) {
    if (combination.entity != known.entity || combination.descriptor != name) continue;
    known.attributeText = combination.attributeText;
    break;
  }
  return place->second;
}

/// In a trace, values of the metric as a whole are called like the metric.
std::uint32_t JsonSource::entityOf(std::string_view metric, std::string_view label) {
  const bool isWhole = !reader_.isContinuous() && label == metric;
  return isWhole ? kNone : ResultSource::entityOf(label);
}

bool JsonSource::next(Point& point) {
  const bool isContinued = valueAt_ < point_.values.size();
  while (valueAt_ == point_.values.size()) {
    valueAt_ = 0;
    if (!reader_.next(point_)) return false;
  }
  const auto& [name, value] = point_.values[valueAt_++];
  point = {.time = point_.start,
           .duration = point_.duration,
           .series = seriesOf(static_cast<std::uint32_t>(point_.metric), point_.series, name),
           .value = value,
           .isContinued = isContinued};
  return true;
}

std::string_view JsonSource::fact(const char* key) const {
  for (const auto& [name, text] : reader_.system()) {
    if (name == key) return text;
  }
  return {};
}

template <typename Number>
Number JsonSource::factNumber(const char* key) const {
  const std::string_view text = fact(key);
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : Number{};
}

Clock JsonSource::clock() const {
  Clock clock{
      .timeUnit = reader_.isContinuous() ? TimeUnit::Ticks : TimeUnit::Microseconds,
      .start = factNumber<std::uint64_t>(ztjson::kStartTimestamp),
      .stop = factNumber<std::uint64_t>(ztjson::kStopTimestamp),
      .durationSec = factNumber<double>(ztjson::kCollectionDuration),
  };
  clock.mhz = clockOf(clock);
  return clock;
}

std::vector<Fact> JsonSource::system() const {
  std::vector<Fact> facts;
  for (const auto& [name, text] : reader_.system()) facts.push_back({name, text});
  return facts;
}

}  // namespace

std::unique_ptr<ResultSource> makeJsonSource() {
  return std::make_unique<JsonSource>();
}

}  // namespace tavrin
