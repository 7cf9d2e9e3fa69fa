#include "exporters/lines/MetricNames.h"

#include <algorithm>

namespace lines {

MetricNames::MetricNames(const pwr::MetricDescription& metric, RunNames& run, LineTally& tally)
    : metric_(metric),
      tally_(tally),
      ticksPerSecond_(run.ticksPerSecond),
      unit_(pwr::baseUnitOf(metric.quantity, run.ticksPerSecond)),
      values_(unit_),
      measurement_(run.measurements.take(pwr::measurementName(metric.name, unit_)) + run.host) {
  for (const char* const key : {"host", "state", "time", "db"}) keys_.take(key);
  for (const auto& [entity, descriptor] : metric.combinations) {
    head(entity);
    field(descriptor);
    if (!textDescriptor_) textDescriptor_ = descriptor;
    if (descriptor != *textDescriptor_) hasDescriptors_ = true;
  }
}

const std::string& MetricNames::head(const pwr::EntityHandle* entity) {
  const auto [place, isNew] = heads_.try_emplace(entity);
  if (!isNew) return place->second;
  std::string tags;
  for (const pwr::SeriesTag& tag : pwr::tagsOf(entity)) {
    if (!pwr::appendTag(tags, tag.key, tag.value)) ++tally_.cutTexts;
    keys_.take(tag.key);
  }
  return place->second = measurement_ + tags_.take(tags);
}

const std::string& MetricNames::field(const pwr::DataDescriptor* descriptor) {
  const auto [place, isNew] = fieldNames_.try_emplace(descriptor);
  if (isNew) place->second = fields_.take(pwr::fieldName(descriptor));
  return place->second;
}

const std::array<std::string, 2>& MetricNames::rangeFields(const pwr::DataDescriptor* descriptor) {
  const auto [place, isNew] = rangeNames_.try_emplace(descriptor);
  if (isNew) {
    const std::string& name = field(descriptor);
    place->second = {fields_.take(name + "_first"), fields_.take(name + "_last")};
  }
  return place->second;
}

const std::string& MetricNames::textField(const pwr::DataDescriptor* descriptor) {
  if (!textDescriptor_) textDescriptor_ = descriptor;
  return hasDescriptors_ || descriptor != *textDescriptor_ ? field(descriptor) : value_;
}

const MetricNames::Attribute* MetricNames::attribute(const std::string& name,
                                                     const pwr::Quantity* quantity) {
  const auto known = attributes_.find(name);
  if (known != attributes_.end()) return &known->second;
  if (attributes_.size() >= kMostAttributes) {
    ++tally_.attributes;
    return nullptr;
  }
  const pwr::BaseUnit unit = pwr::baseUnitOf(quantity, ticksPerSecond_);
  const auto number = static_cast<unsigned int>(attributes_.size());
  const Attribute attribute{number, keys_.take(pwr::plainName(name)),
                            fields_.take(pwr::measurementName(name, unit)), ValueText(unit)};
  return &attributes_.emplace(name, attribute).first->second;
}

}  // namespace lines
