#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tavrin/events/EventMetrics.h"
#include "tavrin/events/KernelEvent.h"

namespace tavrin {

/// The trace events of the running kernel, in the order of time, with times in ticks (the trace
/// clock `mono_raw`). They wait in buffers of the kernel's, one per CPU, until they are taken; of a
/// buffer that is full the oldest ones are lost, which is counted.
///
/// Calls: `whyAbsent` at any time; then `open`, `addCpu`, `begin`, `take` and `addCpu` again and
/// again, `end`, and `take` until nothing is left.
class TraceSource {
 public:
  using Taker = std::function<void(const KernelEvent&)>;

  TraceSource();
  /// Removes what `open` made.
  ~TraceSource();
  TraceSource(const TraceSource&) = delete;
  TraceSource& operator=(const TraceSource&) = delete;

  /// "" when events of the group can be traced here, else why not. Mounts tracefs where it is not.
  static std::string whyAbsent(EventGroup group);

  /// Prepares for the events of the groups, without any CPU yet. Throws CommandError.
  void open(const std::vector<EventGroup>& groups);
  /// Prepares to take the events of a CPU, also those that already wait; of a known one it does
  /// nothing. Returns 0 or the errno of the failure.
  int addCpu(unsigned int cpu);
  void begin();
  void end();

  /// Hands over the events up to `time`, at most `most` of them. An event that is older than `time`
  /// may yet come when it was written while this looked for it: 10 ms are more than that takes.
  /// Returns whether it stopped at `most`.
  bool take(unsigned long long time, std::size_t most, const Taker& taker);

  struct Counts {
    unsigned int cpu = 0;
    unsigned long long taken = 0;  ///< known events that were read
    unsigned long long lost = 0;   ///< as the kernel counts them
  };
  /// Of each CPU.
  std::vector<Counts> counts() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tavrin
