#include "exporters/lines/MetricLines.h"

namespace lines {

namespace {

bool isNothing(const pwr::Data& handle) {
  const pwr::DataHandle* pointed = nullptr;
  return handle.toHandle(pointed) != 0 || pointed == nullptr;
}

}  // namespace

MetricLines::MetricLines(const pwr::MetricDescription& metric, RunNames& run, LineOutput& output,
                         LineTally& tally)
    : tally_(tally),
      output_(output),
      names_(metric, run, tally),
      tagged_(names_, output, tally, run.ticksPerSecond) {}

void MetricLines::add(const pwr::Metric& metric) {
  for (const pwr::DataElement& element : metric.getData().elements) addElement(element);
  for (Row* const row : touched_) end(*row);
  touched_.clear();
  tagged_.finish();
}

void MetricLines::addElement(const pwr::DataElement& element) {
  const pwr::Data& value = *element.getValue();
  const bool isPlain = element.getAttributes() == nullptr && element.getAdditionalInfo() == nullptr;
  switch (value.getType()) {
    case pwr::DataType::None:
      return;
    case pwr::DataType::Int:
    case pwr::DataType::UInt:
    case pwr::DataType::Real:
      return isPlain ? addNumber(element) : tagged_.add(element);
    case pwr::DataType::Handle:
      if (isNothing(value)) return;
      return tagged_.add(element);
    case pwr::DataType::String:
      return tagged_.add(element);
    default:
      return addRange(element);
  }
}

void MetricLines::addNumber(const pwr::DataElement& element) {
  Series& series = seriesOf(element);
  if (series.row == nullptr) {
    ++tally_.beyond;
    return;
  }
  put(*series.row, series.field, *element.getValue());
}

void MetricLines::addRange(const pwr::DataElement& element) {
  Series& series = seriesOf(element);
  if (series.row == nullptr || !makeEnds(series, element.getDescriptor())) {
    ++tally_.beyond;
    return;
  }
  const pwr::Data& value = *element.getValue();
  pwr::Data::IntPair integers;
  pwr::Data::UIntPair naturals;
  pwr::Data::RealPair reals;
  if (value.toIntRange(integers) == 0) {
    putEnds(series, pwr::Data(integers.first), pwr::Data(integers.second));
  } else if (value.toUIntRange(naturals) == 0) {
    putEnds(series, pwr::Data(naturals.first), pwr::Data(naturals.second));
  } else if (value.toRealRange(reals) == 0) {
    putEnds(series, pwr::Data(reals.first), pwr::Data(reals.second));
  }
}

bool MetricLines::makeEnds(Series& series, const pwr::DataDescriptor* descriptor) {
  if (series.ends != nullptr) return true;
  if (!tally_.take(2)) return false;
  const auto& [first, last] = names_.rangeFields(descriptor);
  series.ends = std::make_unique<std::array<Field, 2>>(
      std::array<Field, 2>{{{.name = first + "="}, {.name = last + "="}}});
  return true;
}

MetricLines::Series& MetricLines::seriesOf(const pwr::DataElement& element) {
  return series_.find(element.getEntity(), element.getDescriptor(), [&] {
    Series series;
    if (tally_.take()) {
      series.row = &rowOf(element.getEntity());
      series.field.name = names_.field(element.getDescriptor()) + "=";
    }
    return series;
  });
}

MetricLines::Row& MetricLines::rowOf(const pwr::EntityHandle* entity) {
  const auto [place, isNew] = rows_.try_emplace(entity);
  if (isNew) place->second.head = names_.head(entity);
  return place->second;
}

void MetricLines::putEnds(Series& series, const pwr::Data& first, const pwr::Data& last) {
  put(*series.row, (*series.ends)[0], first);
  put(*series.row, (*series.ends)[1], last);
}

void MetricLines::put(Row& row, Field& field, const pwr::Data& number) {
  const bool isTwice = field.latest == output_.time();
  if (isTwice) end(row);  // a line has a field once
  const std::size_t before = row.fields.size();
  if (before != 0) row.fields += ',';
  row.fields += field.name;
  const ValueText::Result result = names_.values().append(row.fields, number);
  if (result == ValueText::Result::LeftOut) {
    row.fields.resize(before);
    ++tally_.notFinite;
    return;
  }
  if (result == ValueText::Result::Rounded) tally_.noteLargeInteger(names_.metric().name);
  if (isTwice) ++tally_.sameTime;
  field.latest = output_.time();
  if (before == 0) touched_.push_back(&row);
  if (row.fields.size() > kMostFields) end(row);
}

/// A row may be among those with fields twice: it has none the second time.
void MetricLines::end(Row& row) {
  if (!row.fields.empty()) output_.add(row.head, row.fields);
  row.fields.clear();
}

}  // namespace lines
