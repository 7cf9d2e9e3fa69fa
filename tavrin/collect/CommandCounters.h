#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tavrin {

/// Counters of what a command does, with all that it starts, from its exec on (perf_event_open(2);
/// for who may count what: Documentation/admin-guide/perf-security.rst). They belong to the thread
/// that opens them, count nothing of its own, and pass to the processes that it starts: there an
/// exec turns them on.
class CommandCounters {
 public:
  CommandCounters() = default;
  ~CommandCounters();
  CommandCounters(const CommandCounters&) = delete;
  CommandCounters& operator=(const CommandCounters&) = delete;

  /// To be called once, by the thread that will start the command. What cannot be counted has no
  /// value; where the kernel's own work cannot be, only that of programs is.
  void open();

  struct Counter {
    std::string name;  ///< "Instructions"; "Instructions (programs)" where only these count
    int descriptor = -1;
    int error = 0;  ///< why there is no descriptor
  };
  /// In the order in which a report has them; the first is the task clock, in nanoseconds.
  const std::vector<Counter>& counters() const { return counters_; }
  /// The count so far. When there were more counters than the processor has, and each counted for a
  /// part of the time only, it is scaled to the whole. Empty where nothing could count.
  static std::optional<double> value(const Counter& counter);

 private:
  std::vector<Counter> counters_;
};

}  // namespace tavrin
