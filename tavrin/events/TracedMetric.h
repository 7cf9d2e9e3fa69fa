#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "writers/host/Metric.h"

namespace tavrin {

using EventAttributes = std::shared_ptr<const pwr::AttributeValueManager>;
using EventInfo = std::shared_ptr<const pwr::DynamicAttributeValueManager>;

/// Delivers the samples of one metric one by one, always in the same message: a sample of a number
/// or a short text allocates nothing.
class TracedMetric {
 public:
  TracedMetric(const pwr::MetricDescription* metric, const pwr::DataDescriptor* descriptor)
      : message_(metric), descriptor_(descriptor) {}

  /// `durationTicks` is 0 for what has none.
  void deliver(unsigned long long time, unsigned long long durationTicks,
               const pwr::EntityHandle* entity, pwr::Data value, EventAttributes attributes,
               pwr::MessageSink& sink) {
    deliver(time, durationTicks, entity, std::move(value), std::move(attributes), nullptr, sink);
  }
  /// `info`: attributes that the metric does not announce.
  void deliver(unsigned long long time, unsigned long long durationTicks,
               const pwr::EntityHandle* entity, pwr::Data value, EventAttributes attributes,
               EventInfo info, pwr::MessageSink& sink) {
    pwr::Metric::DataPoint& point = message_.editData();
    point.timestamp = time;
    point.elements.resize(1);  // the sink may have taken it
    pwr::DataElement& element = point.elements.front();
    element.reset(descriptor_, entity, durationTicks);
    element.setValue(std::move(value));
    element.setAttributes(std::move(attributes));
    if (info != nullptr) element.setAdditionalInfo(std::move(info));
    sink.metric(message_);
  }

 private:
  pwr::Metric message_;
  const pwr::DataDescriptor* descriptor_;
};

/// The states of things that are each in one state at a time. A state is delivered when it ends,
/// with the time it began and how long it lasted; so the samples of one thing are in the order of
/// time, those of all things together are not. Before its first state and after `forget` nothing is
/// known of a thing, and nothing is delivered about that time.
class StateTrace {
 public:
  explicit StateTrace(TracedMetric metric) : metric_(std::move(metric)) {}

  /// Makes room for one more thing and returns its number, which counts from 0.
  std::size_t add(const pwr::EntityHandle* entity) {
    states_.push_back({.entity = entity});
    return states_.size() - 1;
  }

  /// The thing is in a new state, also where it has the same name as the one before. Each state
  /// lasts a tick at least, so that no two of a thing begin at the same time.
  void change(std::size_t thing, unsigned long long time, pwr::Data value,
              EventAttributes attributes, pwr::MessageSink& sink);
  /// Ends the thing's state.
  void forget(std::size_t thing, unsigned long long time, pwr::MessageSink& sink);
  /// Ends every state.
  void finish(unsigned long long time, pwr::MessageSink& sink);

 private:
  struct State {
    const pwr::EntityHandle* entity = nullptr;
    bool isKnown = false;
    unsigned long long since = 0;
    unsigned long long lastEnd = 0;  // of the state before
    pwr::Data value{};
    EventAttributes attributes{};
  };

  TracedMetric metric_;
  std::vector<State> states_;
};

}  // namespace tavrin
