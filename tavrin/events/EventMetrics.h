#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "tavrin/common/ProcessTable.h"
#include "tavrin/events/KernelEvent.h"
#include "tavrin/events/TaskTable.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/Metric.h"

namespace tavrin {

class EventShared;
class MetricGroup;

/// What belongs together: the metrics of one container. `Other` are the events that nothing is
/// known of but their fields.
enum class EventGroup {
  Idle,
  Frequency,
  Schedule,
  Process,
  Wakeup,
  DevicePower,
  Thermal,
  Regulator,
  Clock,
  Other,
};

/// What is known of the machine that the events are of. All of it may be empty.
struct EventFacts {
  std::map<unsigned int, const pwr::EntityHandle*> cpus;
  /// Names of each CPU's idle states, by their numbers.
  std::map<unsigned int, std::vector<std::string>> idleStates;
  /// Every frequency in MHz that a CPU can have, where they are few.
  std::vector<double> frequencies;
  TaskTable::ProcessOf processOf;
  /// Gets the lifetimes that process events tell of; null where nobody wants them.
  ProcessTable* processes = nullptr;
};

/// Turns kernel events, whatever their source, into the messages of metrics. It sets the names,
/// units and kinds of these metrics, and nothing else does.
///
/// States (idle, frequency, running task, wakeup sources, devices, cooling, regulators, clocks) are
/// transitions, each delivered when it is over, with its length. What comes before the first event
/// about something is unknown and has no message; so is what comes after a loss of events, until
/// the next event. Everything else is an event. Things that events name, and CPUs that are not
/// among the facts, become entities when they first appear. An event of the group `Other` is one of
/// a metric with its own name, which is created when it first appears.
///
/// Calls: `describe` for the groups that are wanted, `add` for each event, `addCpu` and
/// `forgetCpu`, then `finish`.
class EventMetrics {
 public:
  explicit EventMetrics(EventFacts facts);
  ~EventMetrics();
  EventMetrics(const EventMetrics&) = delete;
  EventMetrics& operator=(const EventMetrics&) = delete;

  /// The group that takes the event; nothing for a loss, which is of all groups.
  static std::optional<EventGroup> groupOf(const KernelEvent& event);

  /// Creates the group's metrics, in the container and under the tag of a feature. Once per group.
  std::vector<const pwr::MetricDescription*> describe(EventGroup group, unsigned int containerId,
                                                      const std::string& tag);

  bool isDescribed(EventGroup group) const { return groups_.contains(group); }
  /// The task belongs to the process, as the source has told apart from events.
  void tellProcess(int task, int process);

  /// Events have to come in the order of time; one that is too early counts as of the time of the
  /// one before. Events of groups that are not described have no effect.
  void add(const KernelEvent& event, pwr::MessageSink& sink);
  /// A CPU has come that the facts do not have. `entity` may be null, `idleStates` empty, for what
  /// is not known yet; each may be told again.
  void addCpu(unsigned int cpu, const pwr::EntityHandle* entity,
              std::vector<std::string> idleStates);
  /// At `time` (ticks) the CPU was found to be gone (offline): its states end.
  void forgetCpu(unsigned int cpu, unsigned long long time, pwr::MessageSink& sink);
  /// Ends all states at `time` (ticks), when no event follows.
  void finish(unsigned long long time, pwr::MessageSink& sink);

 private:
  const std::unique_ptr<EventShared> shared_;
  std::map<EventGroup, std::unique_ptr<MetricGroup>> groups_;
  std::array<MetricGroup*, std::variant_size_v<KernelEvent::What>> groupOfKind_{};
  unsigned long long time_ = 0;  // of the last event
};

}  // namespace tavrin
