#include "tavrin/points/PointTable.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <utility>

#include "hostcommon/NumberText.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Glob.h"
#include "tavrin/stream/StreamNames.h"
#include "writers/host/Quantity.h"

namespace tavrin {

namespace {

constexpr double kMicrosecondsPerSecond = 1e6;
constexpr std::size_t kPrintedAtOnce = 64U << 10U;

bool isOwn(PointColumn column) {
  switch (column) {
    case PointColumn::Time:
    case PointColumn::Ticks:
    case PointColumn::Duration:
    case PointColumn::Value:
    case PointColumn::Attributes:
      return true;
    default:
      return false;
  }
}

bool isChosenBy(const std::vector<std::string>& patterns, std::string_view name,
                std::string_view otherName) {
  return patterns.empty() || matchesAnyGlob(patterns, name) || matchesAnyGlob(patterns, otherName);
}

bool isEntityChosen(const std::vector<std::string>& patterns, const pwr::EntityHandle* entity) {
  if (patterns.empty()) return true;
  return entity != nullptr && isChosenBy(patterns, entity->getName(), entity->getQualifiedName());
}

std::string unitOf(const pwr::MetricDescription& metric) {
  return pwr::isTime(metric.quantity) ? "ms" : pwr::shownUnits(metric.quantity);
}

}  // namespace

const std::vector<std::string>& pointColumnNames() {
  static const std::vector<std::string> names{"time",  "ticks",  "duration",  "feature",
                                              "kind",  "metric", "entity",    "descriptor",
                                              "value", "unit",   "attributes"};
  return names;
}

PointTable::PointTable(PointChoice choice, std::FILE* out) : choice_(std::move(choice)), out_(out) {
  std::ranges::copy_if(choice_.columns, std::back_inserter(own_), isOwn);
}

void PointTable::system(const pwr::SystemMetadata& metadata) {
  start_ = metadata.getCollectionStartTimestamp();
  ticksPerMicrosecond_ = metadata.getTscFrequencyMHz();
  printHead();
}

double PointTable::secondsOf(unsigned long long timestamp) const {
  const auto ticks = static_cast<double>(static_cast<long long>(timestamp - start_));
  return ticks / (ticksPerMicrosecond_ * kMicrosecondsPerSecond);
}

/// What of a column the lines of a series have in common.
void PointTable::appendCommon(std::string& text, PointColumn column,
                              const pwr::MetricDescription& metric,
                              const pwr::SeriesKey& key) const {
  const auto append = [&](const std::string& cell) {
    cell.empty() ? appendNothing(text, choice_.format) : appendText(text, cell, choice_.format);
  };
  switch (column) {
    case PointColumn::Feature:
      return append(metric.featureTag);
    case PointColumn::Kind:
      return append(std::string(names::nameOf(names::kMetrics, metric.type)));
    case PointColumn::Metric:
      return append(metric.name);
    case PointColumn::Entity:
      return append(key.entity == nullptr ? "" : key.entity->getQualifiedName());
    case PointColumn::Descriptor:
      return append(key.descriptor == nullptr ? "" : key.descriptor->getName());
    case PointColumn::Unit:
      return append(unitOf(metric));
    default:
      return;
  }
}

PointTable::Series PointTable::describe(const pwr::MetricDescription& metric,
                                        const pwr::SeriesKey& key) const {
  const bool isJson = choice_.format == PointFormat::JsonLines;
  Series series{.key = key, .isChosen = isEntityChosen(choice_.entities, key.entity)};
  std::string text = isJson ? "{" : "";
  for (std::size_t i = 0; i < choice_.columns.size(); ++i) {
    const PointColumn column = choice_.columns[i];
    if (i > 0) text += ',';
    if (isJson) text += '"' + pointColumnNames()[static_cast<std::size_t>(column)] + "\":";
    if (isOwn(column)) {
      series.texts.push_back(std::exchange(text, {}));
    } else {
      appendCommon(text, column, metric, key);
    }
  }
  series.texts.push_back(text + (isJson ? "}\n" : "\n"));
  return series;
}

PointTable::KnownMetric& PointTable::knownMetric(const pwr::MetricDescription& metric) {
  const auto [place, isNew] = metrics_.try_emplace(metric.id);
  if (isNew) {
    place->second.isChosen = isChosenBy(choice_.metrics, metric.name, metric.featureTag);
    place->second.isTime = pwr::isTime(metric.quantity);
    place->second.isRate = pwr::isRate(metric.quantity);
  }
  return place->second;
}

/// Messages mostly have the series of the one before in the same order.
PointTable::Series& PointTable::seriesOf(KnownMetric& known, const pwr::MetricDescription& metric,
                                         const pwr::SeriesKey& key) {
  if (known.next >= known.series.size()) known.next = 0;
  if (known.next < known.series.size() && known.series[known.next].key == key) {
    return known.series[known.next++];
  }
  const auto [place, isNew] = known.places.try_emplace(key, known.series.size());
  if (isNew) known.series.push_back(describe(metric, key));
  known.next = place->second + 1;
  return known.series[place->second];
}

void PointTable::appendAttributes(const pwr::DataElement& element) {
  if (element.getAttributes() == nullptr && element.getAdditionalInfo() == nullptr) {
    return appendNothing(lines_, choice_.format);
  }
  std::string object = "{";
  const auto add = [&](const std::string& name, const pwr::Data& value) {
    if (object.size() > 1) object += ',';
    appendText(object, name, PointFormat::JsonLines);
    object += ':';
    appendValue(object, value, PointFormat::JsonLines);
  };
  if (element.getAttributes() != nullptr) {
    for (const auto& [attribute, value] : *element.getAttributes()) {
      add(attribute->getName(), value);
    }
  }
  if (element.getAdditionalInfo() != nullptr) {
    for (const auto& [id, value] : *element.getAdditionalInfo()) {
      const pwr::DataHandle* attribute = nullptr;
      if (pwr::DataHandle::get(id, attribute) == 0) add(attribute->getName(), value);
    }
  }
  object += '}';
  if (choice_.format == PointFormat::Csv) return appendText(lines_, object, choice_.format);
  lines_ += object;
}

/// What of a column is the point's own.
void PointTable::appendOwn(PointColumn column, const KnownMetric& known,
                           const pwr::DataElement& element) {
  double ticks = 0.0;
  switch (column) {
    case PointColumn::Time:
      lines_ += time_;
      return;
    case PointColumn::Ticks:
      return appendNumber(lines_, timestamp_);
    case PointColumn::Duration:
      if (known.isRate || element.getDuration() == 0) return appendNothing(lines_, choice_.format);
      return appendSeconds(lines_, std::llround(static_cast<double>(element.getDuration()) * 1e3 /
                                                ticksPerMicrosecond_));
    case PointColumn::Value:
      if (!known.isTime || element.getValue()->toReal(ticks) != 0) {
        return appendValue(lines_, *element.getValue(), choice_.format);
      }
      return appendNumber(lines_, ticks / (ticksPerMicrosecond_ * 1e3), choice_.format);
    default:
      return appendAttributes(element);
  }
}

void PointTable::metric(pwr::Metric& metric) {
  const pwr::MetricDescription& description = *metric.getDescription();
  KnownMetric& known = knownMetric(description);
  timestamp_ = metric.getData().timestamp;
  const double seconds = secondsOf(timestamp_);
  if (!known.isChosen || seconds < choice_.fromSec || seconds >= choice_.toSec) return;
  time_.clear();
  appendSeconds(time_, std::llround(seconds * 1e9));
  for (const pwr::DataElement& element : metric.getData().elements) {
    const Series& series =
        seriesOf(known, description, {element.getEntity(), element.getDescriptor()});
    if (!series.isChosen) continue;
    std::size_t own = 0;
    for (const PointColumn column : own_) {
      lines_ += series.texts[own++];
      appendOwn(column, known, element);
    }
    lines_ += series.texts.back();
  }
  if (lines_.size() >= kPrintedAtOnce) print();
}

void PointTable::printHead() {
  if (std::exchange(hasHead_, true) || choice_.format != PointFormat::Csv) return;
  for (const PointColumn column : choice_.columns) {
    if (!lines_.empty()) lines_ += ',';
    lines_ += pointColumnNames()[static_cast<std::size_t>(column)];
  }
  lines_ += '\n';
}

void PointTable::print() {
  const bool isPrinted = std::fwrite(lines_.data(), 1, lines_.size(), out_) == lines_.size();
  lines_.clear();
  if (!isPrinted) throw CommandError(kExitIncomplete, "cannot write to standard output");
}

void PointTable::finish() {
  printHead();
  print();
}

}  // namespace tavrin
