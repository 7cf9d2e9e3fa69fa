#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tavrin/events/EventMetrics.h"
#include "tavrin/events/TracedMetric.h"
#include "writers/host/DataDescriptor.h"
#include "writers/host/Quantity.h"

namespace tavrin {

/// What the groups share.
class EventShared {
 public:
  explicit EventShared(EventFacts facts) : facts_(std::move(facts)), tasks_(facts_.processOf) {}

  const EventFacts& facts() const { return facts_; }
  TaskTable& tasks() { return tasks_; }
  /// See `EventMetrics`. What an event has named already keeps its entity.
  void addCpu(unsigned int number, const pwr::EntityHandle* entity,
              std::vector<std::string> idleStates) {
    if (entity != nullptr) facts_.cpus.try_emplace(number, entity);
    if (!idleStates.empty()) facts_.idleStates[number] = std::move(idleStates);
  }
  /// The CPU, which may be one that the facts do not have; null for a number that no CPU has.
  const pwr::EntityHandle* cpu(unsigned int number);

 private:
  EventFacts facts_;
  TaskTable tasks_;
};

/// The metrics of one group, and what has to be remembered between their events.
class MetricGroup {
 public:
  /// Where its metrics belong.
  struct Place {
    unsigned int containerId;
    const std::string& tag;
  };

  virtual ~MetricGroup() = default;

  /// Takes an event of the group, or a loss. Times ascend.
  virtual void add(const KernelEvent& event, pwr::MessageSink& sink) = 0;
  /// A CPU has gone: nothing is known of it until its next event.
  virtual void forgetCpu(unsigned int /*cpu*/, unsigned long long /*time*/,
                         pwr::MessageSink& /*sink*/) {}
  /// Ends what lasts.
  virtual void finish(unsigned long long /*time*/, pwr::MessageSink& /*sink*/) {}

  const std::vector<const pwr::MetricDescription*>& metrics() const { return metrics_; }

 protected:
  /// Creates `metric`, whose samples have `descriptor`; it gets its place here, and `entities`.
  TracedMetric addMetric(pwr::MetricDescription metric, const Place& place,
                         const std::string& descriptor,
                         const std::map<unsigned int, const pwr::EntityHandle*>& entities = {});

 private:
  std::vector<const pwr::MetricDescription*> metrics_;
};

/// The quantity of values that name a state.
const pwr::Quantity* stateQuantity();

/// The states of the machine's CPUs.
class CpuStates {
 public:
  CpuStates(TracedMetric metric, EventShared& shared)
      : trace_(std::move(metric)), shared_(shared) {}

  void change(unsigned int cpu, unsigned long long time, pwr::Data value,
              EventAttributes attributes, pwr::MessageSink& sink);
  void forget(unsigned int cpu, unsigned long long time, pwr::MessageSink& sink);
  /// Of all CPUs.
  void finish(unsigned long long time, pwr::MessageSink& sink) { trace_.finish(time, sink); }

 private:
  static constexpr std::size_t kNone = ~std::size_t{0};

  StateTrace trace_;
  EventShared& shared_;
  std::vector<std::size_t> things_;  // by CPU number
};

/// Things that events name, as entities: `kMost` at most, which a name that is one more is told of.
class NamedThings {
 public:
  static constexpr std::size_t kMost = 16384;

  /// `level`: what kind of thing they are.
  explicit NamedThings(const char* level) : level_(level) {}

  /// Null for one too many.
  const pwr::EntityHandle* operator[](std::string_view name);
  /// Null for one that has not been named.
  const pwr::EntityHandle* find(std::string_view name) const {
    const auto found = entities_.find(name);
    return found == entities_.end() ? nullptr : found->second;
  }

 private:
  const char* const level_;
  std::map<std::string, const pwr::EntityHandle*, std::less<>> entities_;
};

/// The states of such things.
class ThingStates {
 public:
  ThingStates(TracedMetric metric, const char* level) : trace_(std::move(metric)), things_(level) {}

  void change(std::string_view name, unsigned long long time, pwr::Data value,
              pwr::MessageSink& sink);
  /// Ends the state of the thing.
  void forget(std::string_view name, unsigned long long time, pwr::MessageSink& sink);
  /// Of all things.
  void finish(unsigned long long time, pwr::MessageSink& sink) { trace_.finish(time, sink); }

 private:
  StateTrace trace_;
  NamedThings things_;
  std::map<const pwr::EntityHandle*, std::size_t> numbers_;
};

}  // namespace tavrin
