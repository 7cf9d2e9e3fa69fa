#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "tavrin/common/ProcessTable.h"
#include "tavrin/events/EventMetrics.h"
#include "tavrin/events/KernelEvent.h"
#include "tavrin/import/EventCounts.h"

namespace tavrin {

/// Delivers the events of a recording, whatever its format, as the messages of a run. Times of
/// events are in nanoseconds, which are the ticks of the run's clock.
///
/// The run begins with the first event and ends with the last one. The metrics of a group of events
/// are described when the first of its events comes. Events that no group knows become metrics of
/// their own where the user has asked for their names. Which events there were is told in a table,
/// and the most frequent of those that became nothing in a line.
///
/// Calls: `describe`, then `add` and `tellProcess` for all that the recording has, and `finish`.
/// Owns the system description that it delivers, so it must outlive the run.
class EventImport {
 public:
  /// What a recording tells of its machine and of itself. What is not known stays as it is.
  struct Facts {
    /// Host, kernel, versions, wall clock, command line, `infoValues`; the timestamps, the clock,
    /// the topology, the processes and the losses are set by the import.
    pwr::SystemDescription system;
    unsigned int cpus = 0;  ///< how many the machine has, counted from 0; 0: not known
    std::string clock;      ///< the kernel's name of the clock of the times: "mono"
  };

  /// `patterns`: which events become metrics of their own, as `EventCounts` takes them. `sink` is
  /// not owned.
  EventImport(std::vector<std::string> patterns, pwr::MessageSink& sink);
  ~EventImport();
  EventImport(const EventImport&) = delete;
  EventImport& operator=(const EventImport&) = delete;

  /// Once, before everything else.
  void describe(Facts facts);
  /// Whether anybody looks at the fields of an event like this one, which has none itself, when it
  /// comes. Others may be added without.
  bool isWanted(const KernelEvent& kind) { return counts_.isWanted(kind); }
  /// Takes the next event, or a loss. Events come in the order of time; one that is too early
  /// counts as of the time of the one before, and is told of at the end. A loss is of the CPU's
  /// events before its next one; it needs no time.
  void add(const KernelEvent& event);
  /// The task belongs to the process; for recordings that tell so apart from events.
  void tellProcess(int task, int process) { metrics_->tellProcess(task, process); }
  /// Ends what lasts and completes the system description, also of a recording that could not be
  /// read to its end.
  void finish();

 private:
  void begin(unsigned long long time);
  void describe(EventGroup group);
  void take(EventGroup group, const KernelEvent& event);
  void addLoss(const KernelEvent& event);
  void complete();
  void tellLosses();

  pwr::MessageSink& sink_;
  EventCounts counts_;
  ProcessTable lives_;
  std::unique_ptr<EventMetrics> metrics_;
  pwr::SystemMetadata metadata_;
  bool hasBegun_ = false;
  unsigned long long time_ = 0;   // of the last event
  unsigned long long early_ = 0;  // events before the time of the one before
  struct Loss {
    unsigned long long count = 0;
    bool isAtLeast = false;
  };
  std::map<unsigned int, Loss> losses_;  // by CPU
};

}  // namespace tavrin
