#include "tavrin/collect/KeyedCounters.h"

#include "tavrin/collect/Counting.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

void KeyedCounters::read(std::string_view text) {
  for (State& state : states_) state.isFound = false;
  while (!text.empty()) {
    std::string_view line = takeLine(text);
    const std::string_view key = takeWord(line);
    for (std::size_t i = 0; i < counters_.size(); ++i) {
      if (key != counters_[i].key) continue;
      states_[i].isFound = takeNumber(line, states_[i].now);
    }
  }
}

std::vector<pwr::Metric::EntityDescCombo> KeyedCounters::describe(std::string_view text) {
  read(text);
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (std::size_t i = 0; i < counters_.size(); ++i) {
    if (!states_[i].isFound) continue;
    states_[i].descriptor = pwr::DataDescriptor::create(
        pwr::DataDescriptorBuilder(counters_[i].name, counters_[i].description));
    combinations.push_back({.descriptor = states_[i].descriptor});
  }
  return combinations;
}

void KeyedCounters::sample(std::string_view text, bool complete, IntervalPoint& point) {
  read(text);
  for (std::size_t i = 0; i < counters_.size(); ++i) {
    State& state = states_[i];
    if (state.descriptor == nullptr) continue;
    if (complete && state.isKnown && state.isFound) {
      const auto growth = growthOf(state.before, state.now, counters_[i].unit);
      if (growth) point.add(pwr::Data(*growth), state.descriptor, nullptr);
    }
    state.before = state.now;
    state.isKnown = state.isFound;
  }
}

}  // namespace tavrin
