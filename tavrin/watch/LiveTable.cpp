#include "tavrin/watch/LiveTable.h"

#include <algorithm>

#include "tavrin/common/Owners.h"
#include "writers/host/Quantity.h"

namespace tavrin {

namespace {

using Type = pwr::Metric::MetricType;

/// What CPUs are called in the groups of metrics.
constexpr const char* kCpu = "CPU";

std::string subjectOf(const pwr::MetricDescription& metric) {
  const bool hasThings = metric.entityGroup != nullptr && !metric.entities.empty();
  return hasThings ? metric.entityGroup->getName() : metric.name;
}

/// The column of a metric's series with this descriptor. A descriptor that all have in common says
/// less than what is measured.
LiveTable::Column columnOf(const pwr::MetricDescription& metric,
                           const pwr::DataDescriptor* descriptor) {
  if (isListOfOwners(metric)) {
    return {metric.valueGroup->getName(), metric.quantity->toUnitsString(), true, false};
  }
  LiveTable::Column column{.name = descriptor == nullptr ? metric.name : descriptor->getName()};
  const pwr::Quantity* rate = nullptr;
  double factor = 1.0;
  const bool hasRate =
      metric.quantity != nullptr && metric.quantity->getRateConversion(rate, factor) == 0;
  switch (metric.type) {
    case Type::SampledResidency:
      column.units = "%";
      break;
    case Type::SampledDelta:
      column.adds = true;
      column.units = hasRate ? rate->toUnitsString() : "/s";
      if (hasRate && rate->toQuantity() == pwr::QuantityType::Power) {
        column.name = rate->toQuantityString();
      }
      break;
    case Type::SampledValue:
      if (metric.quantity != nullptr) column.units = metric.quantity->toUnitsString();
      break;
    case Type::TracedValueTransition:
    case Type::TracedEvent:
      column.adds = true;
      column.isCount = true;
      column.units = "/s";
      break;
  }
  return column;
}

}  // namespace

LiveTable::LiveTable(Choice choice, double ticksPerSecond)
    : choice_(std::move(choice)), ticksPerSecond_(ticksPerSecond) {}

std::vector<std::string> LiveTable::namesOf(const pwr::MetricDescription& metric) {
  std::vector<std::string> names{metric.name, metric.featureTag, subjectOf(metric)};
  for (const auto& [entity, descriptor] : metric.combinations) {
    names.push_back(columnOf(metric, descriptor).name);
  }
  if (pwr::idleStatesOf(metric) != nullptr) names.emplace_back("Busy");
  return names;
}

bool LiveTable::isChosen(const pwr::MetricDescription& metric, const std::string& column) const {
  const std::string names[] = {"all", column, metric.name, metric.featureTag, subjectOf(metric)};
  const auto isNamed = [&](const std::vector<std::string>& chosen) {
    return std::ranges::find_first_of(chosen, names) != chosen.end();
  };
  return (choice_.show.empty() || isNamed(choice_.show)) && !isNamed(choice_.hide);
}

std::size_t LiveTable::sectionOf(const pwr::MetricDescription& metric) {
  const std::string subject = subjectOf(metric);
  const auto [place, isNew] = sections_.try_emplace(subject, shapes_.size());
  if (isNew) shapes_.push_back({.section = {.subject = subject}, .isList = isListOfOwners(metric)});
  return place->second;
}

/// Columns of one name and unit are told apart by their metrics.
std::size_t LiveTable::addColumn(std::size_t section, Column column,
                                 const pwr::MetricDescription& metric) {
  std::vector<Column>& columns = shapes_[section].section.columns;
  const bool isTaken = std::ranges::any_of(columns, [&](const Column& other) {
    return other.name == column.name && other.units == column.units;
  });
  if (isTaken) column.name = metric.name + " " + column.name;
  columns.push_back(std::move(column));
  return columns.size() - 1;
}

LiveTable::Place& LiveTable::placeOf(const pwr::MetricDescription& metric,
                                     const pwr::DataDescriptor* descriptor) {
  if (isListOfOwners(metric)) descriptor = nullptr;
  const auto [place, isNew] = places_.try_emplace({metric.id, descriptor});
  if (!isNew) return place->second;
  Column column = columnOf(metric, descriptor);
  const bool isShown = isChosen(metric, column.name);
  place->second.isShown = isShown;
  if (!isShown) return place->second;
  place->second.section = sectionOf(metric);
  place->second.column = addColumn(place->second.section, std::move(column), metric);
  return place->second;
}

LiveTable::Busy& LiveTable::busyOf(const pwr::MetricDescription& metric) {
  const auto [place, isNew] = busy_.try_emplace(metric.id);
  Busy& busy = place->second;
  if (!isNew) return busy;
  busy.states = pwr::idleStatesOf(metric);
  busy.isShown = busy.states != nullptr && isChosen(metric, "Busy");
  if (!busy.isShown) return busy;
  busy.column = addColumn(sectionOf(metric), {.name = "Busy", .units = "%"}, metric);
  return busy;
}

LiveTable::Cell& LiveTable::cellAt(std::size_t section, const pwr::EntityHandle* entity,
                                   std::size_t column) {
  auto& [shape, rows, isListed] = shapes_[section];
  const auto [place, isNew] = rows.try_emplace(entity, shape.rows.size());
  if (isNew) shape.rows.push_back({.name = entity == nullptr ? "" : entity->getName()});
  std::vector<Cell>& cells = shape.rows[place->second].cells;
  if (cells.size() <= column) cells.resize(column + 1);
  return cells[column];
}

/// The rows of a list are those of its interval, in the order in which they come.
void LiveTable::addListed(const Place& place, const pwr::DataElement& element) {
  double number = 0.0;
  if (element.getAttributes() == nullptr || element.getValue()->toReal(number) != 0) return;
  std::vector<Row>& rows = shapes_[place.section].section.rows;
  rows.push_back({.name = numberedOwnerName(*element.getAttributes())});
  rows.back().cells.resize(place.column + 1);
  rows.back().cells.back() = {.sum = number, .count = 1};
}

void LiveTable::addElement(const pwr::Metric& metric, const pwr::DataElement& element) {
  const pwr::MetricDescription& description = *metric.getDescription();
  const Place& place = placeOf(description, element.getDescriptor());
  if (!place.isShown) return;
  if (isListOfOwners(description)) return addListed(place, element);
  Cell& cell = cellAt(place.section, element.getEntity(), place.column);
  const double seconds = static_cast<double>(element.getDuration()) / ticksPerSecond_;
  double number = 0.0;
  const bool isNumber = element.getValue()->toReal(number) == 0;
  switch (description.type) {
    case Type::SampledResidency:
      if (!isNumber || element.getDuration() == 0) return;
      number *= 100.0 / static_cast<double>(element.getDuration());
      break;
    case Type::SampledDelta: {
      if (!isNumber || seconds == 0.0) return;
      const pwr::Quantity* rate = nullptr;
      double factor = 1.0;
      if (description.quantity != nullptr) description.quantity->getRateConversion(rate, factor);
      number *= factor / seconds;
      break;
    }
    case Type::SampledValue:
      if (isNumber) break;
      element.getValue()->toFormattedString(cell.text);
      return;
    case Type::TracedValueTransition:
    case Type::TracedEvent:
      number = 1.0;
      break;
  }
  cell.sum += number;
  ++cell.count;
}

/// What the idle states of each CPU leave of the interval.
void LiveTable::addBusy(const pwr::Metric& metric) {
  const pwr::MetricDescription& description = *metric.getDescription();
  const Busy& busy = busyOf(description);
  if (!busy.isShown) return;
  const std::size_t section = sectionOf(description);
  for (const pwr::DataElement& element : metric.getData().elements) {
    Cell& cell = cellAt(section, element.getEntity(), busy.column);
    double idle = 0.0;
    if (element.getDuration() == 0 || element.getValue()->toReal(idle) != 0) continue;
    if (cell.count == 0) cell = {.sum = 100.0, .count = 1};
    if (!pwr::isIdle(*busy.states, element.getDescriptor())) continue;
    cell.sum -= idle * 100.0 / static_cast<double>(element.getDuration());
  }
}

void LiveTable::add(const pwr::Metric& metric) {
  addBusy(metric);
  for (const pwr::DataElement& element : metric.getData().elements) addElement(metric, element);
}

LiveTable::Row LiveTable::rowOfAll(const Section& section) {
  Row all{.name = "all"};
  all.cells.resize(section.columns.size());
  for (const Row& row : section.rows) {
    for (std::size_t column = 0; column < row.cells.size(); ++column) {
      if (row.cells[column].count == 0) continue;
      all.cells[column].sum += valueOf(section.columns[column], row.cells[column]);
      ++all.cells[column].count;
    }
  }
  return all;
}

/// Turns counts of the interval into rates.
void LiveTable::divideCounts(Section& section, double seconds) {
  for (std::size_t column = 0; column < section.columns.size(); ++column) {
    if (!section.columns[column].isCount) continue;
    for (Row& row : section.rows) {
      if (column < row.cells.size()) row.cells[column].sum /= seconds;
    }
  }
}

std::vector<LiveTable::Section> LiveTable::take(double seconds) {
  std::vector<Section> sections;
  for (Shape& shape : shapes_) {
    Section section = shape.section;
    divideCounts(section, seconds);
    if (section.subject == kCpu && section.rows.size() > 1) {
      section.rows.insert(section.rows.begin(), rowOfAll(section));
    }
    sections.push_back(std::move(section));
    if (shape.isList) shape.section.rows.clear();
    for (Row& row : shape.section.rows) row.cells.clear();
  }
  return sections;
}

}  // namespace tavrin
