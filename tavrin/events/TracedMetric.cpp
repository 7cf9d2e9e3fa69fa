#include "tavrin/events/TracedMetric.h"

#include <algorithm>

namespace tavrin {

void StateTrace::change(std::size_t thing, unsigned long long time, pwr::Data value,
                        EventAttributes attributes, pwr::MessageSink& sink) {
  forget(thing, time, sink);
  State& state = states_[thing];
  state.isKnown = true;
  state.since = std::max(time, state.lastEnd);
  state.value = std::move(value);
  state.attributes = std::move(attributes);
}

void StateTrace::forget(std::size_t thing, unsigned long long time, pwr::MessageSink& sink) {
  State& state = states_[thing];
  if (!std::exchange(state.isKnown, false)) return;
  state.lastEnd = std::max(time, state.since + 1);
  metric_.deliver(state.since, state.lastEnd - state.since, state.entity, std::move(state.value),
                  std::move(state.attributes), sink);
}

void StateTrace::finish(unsigned long long time, pwr::MessageSink& sink) {
  for (std::size_t thing = 0; thing < states_.size(); ++thing) forget(thing, time, sink);
}

}  // namespace tavrin
