#include <map>
#include <tuple>

#include "readers/PlainText.h"
#include "readers/ResultSource.h"
#include "readers/ZtbinReader.h"

namespace tavrin {

namespace {

/// A binary stream.
class BinarySource final : public ResultSource {
 public:
  void open(std::istream& file) override {
    reader_.open(file);
    if (reader_.isAnew()) {
      seriesPlaces_.clear();
      earlierSeries_ = nextPlace(series);
    }
    for (const std::uint32_t id : reader_.newMetrics()) {
      const ztbin::Metric& metric = reader_.metrics().at(id);
      const auto known = places_.find(id);
      if (known != places_.end() && metrics[known->second].name == text(metric.name)) continue;
      places_[id] = nextPlace(metrics);
      describe(id, metric);
    }
  }
  bool next(Point& point) override;
  Clock clock() const override;
  std::vector<Fact> system() const override;
  std::vector<Fact> remarks() const override;

 private:
  std::string_view text(std::uint16_t index) const { return reader_.text(index); }
  void describe(std::uint32_t id, const ztbin::Metric& metric);
  std::uint32_t seriesOf(const ztbin::Point& point);

  ztbin::ZtbinReader reader_;
  std::unordered_map<std::uint32_t, std::uint32_t> places_;        ///< of metrics, by number
  std::unordered_map<std::uint64_t, std::uint32_t> seriesPlaces_;  ///< by metric, key, descriptor
  /// The same by texts, which have one place each: files that begin anew have other numbers.
  using SeriesName = std::tuple<std::uint32_t, const char*, const char*, const char*>;
  std::map<SeriesName, std::uint32_t> namedSeries_;
  std::uint32_t earlierSeries_ = 0;  ///< how many there were before the last that began anew
};

void BinarySource::describe(std::uint32_t id, const ztbin::Metric& metric) {
  Metric& known = metrics.emplace_back();
  known.name = text(metric.name);
  known.feature = text(metric.feature);
  known.kindName = text(metric.kind);
  known.kind = kindOfWord(known.kindName);
  if (metric.hasQuantity) {
    known.quantity = text(metric.quantity);
    known.units = text(metric.units);
  }
  known.number = id;
  for (const std::uint16_t value : metric.values) known.states.push_back(text(value));
  for (const auto& [entity, descriptor] : metric.combinations) {
    MetricCombination& combination = known.combinations.emplace_back();
    if (entity != 0) combination.entity = entityOf(text(entity));
    combination.hasDescriptor = descriptor != 0;
    if (descriptor == 0) continue;
    combination.descriptor = text(reader_.descriptor(descriptor).name);
    combination.attributeText = text(reader_.descriptor(descriptor).text);
  }
}

std::uint32_t BinarySource::seriesOf(const ztbin::Point& point) {
  const std::uint64_t key =
      std::uint64_t{point.metric} << 32U | std::uint64_t{point.key} << 16U | point.descriptor;
  const auto [place, isNew] = seriesPlaces_.try_emplace(key, nextPlace(series));
  if (!isNew) return place->second;
  const std::uint32_t metric = places_.at(point.metric);
  const std::string_view label = text(point.key);
  const std::size_t nameLength = metrics[metric].name.size();
  const ztbin::Descriptor& descriptor = reader_.descriptor(point.descriptor);
  const SeriesName name{metric, label.data(), text(descriptor.name).data(),
                        text(descriptor.text).data()};
  const std::uint32_t known = namedSeries_.try_emplace(name, place->second).first->second;
  if (known < earlierSeries_) return place->second = known;
  series.push_back(
      {.metric = metric,
       .entity = label.size() <= nameLength ? kNone : entityOf(label.substr(nameLength + 1)),
       .descriptor = text(descriptor.name),
       .attributeText = text(descriptor.text),
       .label = label});
  return place->second;
}

bool BinarySource::next(Point& point) {
  ztbin::Point read;
  if (!reader_.next(read)) return false;
  point = {.time = read.timestamp,
           .duration = double{read.duration},
           .series = seriesOf(read),
           .value = double{read.value}};
  return true;
}

Clock BinarySource::clock() const {
  const ztbin::System& system = reader_.system();
  Clock clock{.start = system.startTimestamp,
              .stop = system.stopTimestamp,
              .durationSec = double{system.durationSec}};
  clock.mhz = clockOf(clock);
  return clock;
}

std::vector<Fact> BinarySource::system() const {
  const ztbin::System& system = reader_.system();
  return {
      {"Platform ID", std::to_string(system.platformId)},
      {"Platform Name", system.platformName},
      {"CPU Name", system.cpuName},
      {"CPU Native Name", system.cpuNativeName},
      {"PCH Name", system.pchName},
      {"Host Name", system.hostName},
      {"Num Packages", std::to_string(system.packages)},
      {"Num Modules", std::to_string(system.modules)},
      {"Num Cores", std::to_string(system.cores)},
      {"Num Threads", std::to_string(system.threads)},
      {"HFM Frequency MHz", numberText(system.hfmFrequency)},
      {"LFM Frequency MHz", numberText(system.lfmFrequency)},
      {"CPU Frequency MHz", numberText(system.cpuFrequency)},
      {"Bus Frequency MHz", numberText(system.busFrequency)},
      {"OS Name", system.osName},
      {"OS Type", system.osType},
      {"Collection Start Timestamp", std::to_string(system.startTimestamp)},
      {"Collection Stop Timestamp", std::to_string(system.stopTimestamp)},
      {"Collection Duration", numberText(system.durationSec)},
  };
}

std::vector<Fact> BinarySource::remarks() const {
  return {{"Strings", std::to_string(reader_.stringCount())},
          {"Descriptors", std::to_string(reader_.descriptorCount())}};
}

}  // namespace

std::unique_ptr<ResultSource> makeBinarySource() {
  return std::make_unique<BinarySource>();
}

}  // namespace tavrin
