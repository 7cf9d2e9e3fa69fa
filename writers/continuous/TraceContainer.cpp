#include "writers/continuous/TraceContainer.h"

#include <utility>

#include "writers/continuous/ContinuousCommon.h"

static_assert(sizeof(TraceContainer::Value) <= 32, "values are what a long run's memory goes into");

TraceContainer::TraceContainer(Description description, RecordBlocks& memory)
    : description_(std::move(description)), values_(memory) {}

std::uint32_t TraceContainer::label(const std::string& name) {
  const auto [place, isNew] = places_.try_emplace(name, static_cast<std::uint32_t>(labels_.size()));
  if (isNew) {
    labels_.push_back(name);
    pointOfLabel_.push_back(0);
  }
  return place->second;
}

std::uint32_t TraceContainer::label(const pwr::DataHandle* state) {
  const auto known = states_.find(state);
  if (known != states_.end()) return known->second;
  const bool hasText = state->getAttributes().getAttributeCount() > 0;
  const std::uint32_t index = label(hasText ? descriptorText(*state) : state->getName());
  states_.emplace(state, index);
  return index;
}

bool TraceContainer::fitsLastPoint(const Times& times, std::uint32_t label) const {
  return !values_.empty() && values_.back().times == times && pointOfLabel_[label] != point_ &&
         (hasStates() || valuesOfPoint_ < 2);
}

void TraceContainer::add(unsigned long long sample, const Times& times, std::uint32_t label,
                         double value) {
  const bool joins = sample == lastSample_ && fitsLastPoint(times, label);
  if (!joins) {
    ++point_;
    valuesOfPoint_ = 0;
  }
  ++valuesOfPoint_;
  pointOfLabel_[label] = point_;
  values_.add({times, value, label, !joins});
  lastSample_ = sample;
}
