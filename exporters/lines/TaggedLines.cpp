#include "exporters/lines/TaggedLines.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>

#include "exporters/common/MetricMeaning.h"
#include "formats/metric_kinds.h"
#include "writers/common/EventAttributes.h"

namespace lines {

namespace {

constexpr std::string_view kStateKey = "state";
constexpr std::string_view kPidKey = "pid";
constexpr std::string_view kOtherStates = ",state=others";
const std::string g_otherProcesses = std::string(",process=") + kOtherProcesses;

bool isWhole(const pwr::Data& value) {
  return value.getType() == pwr::DataType::Int || value.getType() == pwr::DataType::UInt;
}

}  // namespace

std::size_t TaggedLines::Hash::operator()(const Sought& key) const {
  constexpr std::size_t kFactor = 31;
  const std::size_t tags = std::hash<std::string_view>()(key.tags);
  const std::size_t entity = std::hash<const void*>()(key.entity);
  return (tags * kFactor + entity) * kFactor + std::hash<const void*>()(key.descriptor);
}

TaggedLines::TaggedLines(MetricNames& names, LineOutput& output, LineTally& tally,
                         double ticksPerSecond)
    : names_(names),
      output_(output),
      tally_(tally),
      isPerProcess_(meaningOf(names.metric(), ticksPerSecond).isPerProcess),
      hasRanks_(names.metric().descriptorGroup != nullptr &&
                names.metric().descriptorGroup->getName() == kRankGroup) {}

void TaggedLines::add(const pwr::DataElement& element) {
  spell(element);
  if (isPerProcess_ && !isText_) return addProcess(element);
  if (Series* const series = seriesOf(element)) return write(*series, *element.getValue());
  ++tally_.beyond;
}

/// Takes the element apart: what its tags are, and which of its attributes are numbers.
void TaggedLines::spell(const pwr::DataElement& element) {
  tags_.clear();
  numbers_.clear();
  hasPid_ = false;
  isText_ = !element.getValue()->isNumeric();
  if (isText_) addTag(kStateKey, *element.getValue());
  if (element.getAttributes() == nullptr && element.getAdditionalInfo() == nullptr) return;
  forEachAttribute(element, [this](const std::string& name, const pwr::Quantity* quantity,
                                   const pwr::Data& value) {
    if (value.getType() != pwr::DataType::None) spellAttribute(name, quantity, value);
  });
}

void TaggedLines::spellAttribute(const std::string& name, const pwr::Quantity* quantity,
                                 const pwr::Data& value) {
  if (isPerProcess_ && !isText_ && name == pwr::kPidAttribute && isWhole(value)) {
    hasPid_ = true;
    return addTag(kPidKey, value);
  }
  // What a process used is of all its threads: its main thread would be a series for nothing.
  if (isPerProcess_ && !isText_ && name == pwr::kTidAttribute) return;
  const MetricNames::Attribute* const attribute = names_.attribute(name, quantity);
  if (attribute == nullptr) return;
  if (value.isNumeric()) {
    numbers_.emplace_back(attribute, &value);
  } else {
    addTag(attribute->key, value);
  }
}

void TaggedLines::addTag(std::string_view key, const pwr::Data& value) {
  text_.clear();
  value.toString(text_);
  if (!pwr::appendTag(tags_, key, text_)) ++tally_.cutTexts;
}

/// A process that is known already is written at once; so is a part of the whole that has a name of
/// its own, such as what nobody used.
void TaggedLines::addProcess(const pwr::DataElement& element) {
  double value = 0.0;
  if (element.getValue()->toReal(value) != 0 || !std::isfinite(value)) {
    ++tally_.notFinite;
    return;
  }
  if (!hasPid_ && (tags_.empty() || tags_ == g_otherProcesses)) return addToOthers(element, value);
  if (Series* const series = known(element, tags_)) return write(*series, *element.getValue());
  waiting_.emplace_back(value, &element);
}

void TaggedLines::finish() {
  std::ranges::stable_sort(waiting_, std::greater(), [](const auto& one) { return one.first; });
  for (const auto& [value, element] : waiting_) {
    spell(*element);
    Series* const series = seriesOf(*element);
    if (series == nullptr || series == known(*element, g_otherProcesses)) {
      addToOthers(*element, value);
    } else {
      write(*series, *element->getValue());
    }
  }
  waiting_.clear();
  for (Series* const series : sums_) {
    fields_ = series->field;
    series->hasSum = false;
    if (appendNumber(names_.values(), pwr::Data(series->sum))) end(*series);
  }
  sums_.clear();
}

void TaggedLines::addToOthers(const pwr::DataElement& element, double value) {
  Series* const others = othersOf(element);
  if (others == nullptr) {
    ++tally_.beyond;
    return;
  }
  if (!others->hasSum) {
    others->hasSum = true;
    others->sum = 0.0;
    sums_.push_back(others);
  }
  others->sum += value;
}

const pwr::DataDescriptor* TaggedLines::descriptorOf(const pwr::DataElement& element) const {
  return hasRanks_ ? nullptr : element.getDescriptor();
}

TaggedLines::Series* TaggedLines::known(const pwr::DataElement& element, std::string_view tags) {
  const auto found = series_.find(Sought{element.getEntity(), descriptorOf(element), tags});
  return found == series_.end() ? nullptr : &found->second;
}

TaggedLines::Series* TaggedLines::make(const pwr::DataElement& element, std::string_view tags) {
  if (!tally_.take()) return nullptr;
  const pwr::DataDescriptor* const descriptor = descriptorOf(element);
  const std::string& field = isText_ ? names_.textField(descriptor) : names_.field(descriptor);
  Series series{.head = names_.head(element.getEntity()) + std::string(tags), .field = field + "="};
  Key key{element.getEntity(), descriptor, std::string(tags)};
  return &series_.emplace(std::move(key), std::move(series)).first->second;
}

/// What takes the values of all that have no room: of a number with attributes its plain series.
TaggedLines::Series* TaggedLines::othersOf(const pwr::DataElement& element) {
  const std::string_view others = isPerProcess_ ? g_otherProcesses : std::string_view();
  const std::string_view tags = isText_ ? kOtherStates : others;
  Series* const series = known(element, tags);
  return series == nullptr ? make(element, tags) : series;
}

TaggedLines::Series* TaggedLines::seriesOf(const pwr::DataElement& element) {
  if (Series* const series = known(element, tags_)) return series;
  Series* const others = othersOf(element);
  if (others == nullptr) return nullptr;
  Series* series = known(element, tags_);
  if (series == nullptr) series = make(element, tags_);
  if (series != nullptr) return series;
  ++tally_.folded;
  return others;
}

void TaggedLines::write(Series& series, const pwr::Data& value) {
  fields_ = series.field;
  if (isText_) {
    fields_ += '1';
  } else if (!appendNumber(names_.values(), value)) {
    return;
  }
  for (const auto& [attribute, number] : numbers_) {
    const std::uint32_t bit = 1U << attribute->number;
    if ((series.attributes & bit) == 0 && !tally_.take()) {
      ++tally_.beyond;
      continue;
    }
    series.attributes |= bit;
    const std::size_t before = fields_.size();
    fields_.append(",").append(attribute->field).append("=");
    if (!appendNumber(attribute->values, *number)) fields_.resize(before);
  }
  end(series);
}

bool TaggedLines::appendNumber(const ValueText& values, const pwr::Data& number) {
  const ValueText::Result result = values.append(fields_, number);
  if (result == ValueText::Result::Rounded) tally_.noteLargeInteger(names_.metric().name);
  if (result == ValueText::Result::LeftOut) ++tally_.notFinite;
  return result != ValueText::Result::LeftOut;
}

void TaggedLines::end(Series& series) {
  if (series.latest == output_.time()) ++tally_.sameTime;
  series.latest = output_.time();
  output_.add(series.head, fields_);
}

void TaggedLines::forget() {
  for (const auto& [key, series] : series_) {
    tally_.giveBack(1 + static_cast<std::uint64_t>(std::popcount(series.attributes)));
  }
  series_.clear();
}

}  // namespace lines
