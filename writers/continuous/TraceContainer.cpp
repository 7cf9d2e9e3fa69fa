#include "writers/continuous/TraceContainer.h"

#include <utility>

#include "writers/continuous/DescriptorText.h"

static_assert(sizeof(TraceContainer::Value) <= 32, "values are what a long run's memory goes into");

TraceContainer::TraceContainer(Description description) : description_(std::move(description)) {}

std::uint32_t TraceContainer::label(const std::string& name) {
  const auto [place, isNew] = places_.try_emplace(name, static_cast<std::uint32_t>(labels_.size()));
  if (isNew) labels_.push_back(name);
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
  if (values_.empty() || values_.back().times != times) return false;
  std::size_t count = 1;
  for (auto last = values_.rbegin(); last->label != label; ++last, ++count) {
    if (last->startsPoint) return hasStates() || count < 2;
  }
  return false;
}

void TraceContainer::add(unsigned long long sample, const Times& times, std::uint32_t label,
                         double value) {
  const bool joins = sample == lastSample_ && fitsLastPoint(times, label);
  values_.push_back({times, value, label, !joins});
  lastSample_ = sample;
}
