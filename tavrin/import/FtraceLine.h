#pragma once

#include <optional>
#include <string_view>

namespace tavrin {

/// An event as a line of text tells it; the texts are parts of the line.
struct FtraceLine {
  std::string_view taskName;  ///< empty where the recording does not know it
  int task = 0;
  std::optional<int> process;
  unsigned int cpu = 0;
  unsigned long long time = 0;  ///< nanoseconds
  std::string_view event;
  std::string_view payload;
};

/// What a line is.
enum class FtraceLineKind {
  Event,
  Ambiguous,  ///< it can be read as an event in more than one way
  Other,
};

/// Reads a line as `cat trace` and `trace-cmd report` print events
/// (Documentation/trace/ftrace.rst), with or without flags and the number of the process:
///
///              bash-1977  (   1977) [000] d..2. 17284.993652: sched_wakeup: comm=sshd pid=5
///              bash-1977  [000] 17284.993652123: sched_wakeup:         comm=sshd pid=5
///              bash-1977    0d..2. 17284.993652: sched_wakeup:         comm=sshd pid=5
///
/// Names of tasks may have any characters: a line whose name could also end elsewhere is ambiguous.
/// Calls of functions are events of the name `function`; system calls and their returns, which some
/// kernels show as "sys_openat(…" and "sys_openat -> 0x3", of the name of the call.
FtraceLineKind readFtraceLine(std::string_view line, FtraceLine& event);

}  // namespace tavrin
