#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "exporters/perfetto/Trace.h"
#include "writers/host/Metric.h"

namespace pftrace {

/// Gives the states that were made of kernel events back as such events, in bundles of each CPU: by
/// them a viewer has its own lanes of CPUs and threads. A state is the event with which it began.
///
/// Behind a gap (events were lost, the CPU was offline) the bundle says that events are missing; in
/// the gap the CPU runs the idle task, is not idle, and has a frequency of 0, as the format has no
/// word for what is not known.
class KernelBundles {
 public:
  enum class Kind : std::uint8_t { Switch, Idle, Frequency };

  /// The events that the states of the metric were; nothing for a metric of another kind.
  static std::optional<Kind> kindOf(const pwr::Metric& metric);

  explicit KernelBundles(const pwr::Metric& metric, Kind kind);

  void add(Trace& trace, const pwr::Metric& metric);
  /// Writes what is pending. `end` (ticks): until when the run goes on.
  void close(Trace& trace, unsigned long long end);

 private:
  /// A task that a CPU runs.
  struct Task {
    std::int32_t tid = 0;
    std::string name;
  };
  /// What comes from one CPU: a bundle that is put together.
  struct Lane {
    std::uint32_t cpu = 0;
    std::uint32_t sequence = 0;
    bool isBegun = false;
    bool isFirst = true;         // no bundle has been written
    bool isBehindGap = false;    // the bundle is
    unsigned long long end = 0;  // of the last state, in ticks
    Task task{};                 // of the last state
    std::string events{};        // encoded
  };

  Lane* find(Trace& trace, const pwr::EntityHandle* entity);
  bool addState(Trace& trace, Lane& lane, const pwr::DataElement& element, std::uint64_t time);
  bool addSwitch(Trace& trace, Lane& lane, const pwr::DataElement& element, std::uint64_t time);
  void addSwitch(Lane& lane, const Task& next, std::uint64_t time);
  void addPower(Lane& lane, std::uint32_t state, std::uint64_t time) const;
  void endWithoutNext(Trace& trace, Lane& lane);
  void flush(Trace& trace, Lane& lane);
  std::optional<std::uint32_t> idleState(const pwr::Data& value) const;

  const Kind kind_;
  std::map<std::string, std::uint32_t, std::less<>> states_;  // idle states by their names
  std::map<unsigned long long, Lane> lanes_;                  // by the ids of entities
};

}  // namespace pftrace
