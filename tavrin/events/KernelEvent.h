#pragma once

#include <string_view>
#include <variant>

namespace tavrin {

/// What the kernel's trace events say, without where they come from: a ring buffer that is read
/// live, or a recording. Names follow the kernel's (Documentation/trace/events-power.rst,
/// include/trace/events/{power,rpm,sched,task,thermal}.h). Texts are valid during the call that
/// hands an event over.

/// `power:cpu_idle`: a CPU enters an idle state, or leaves it where the state is `kLeft`.
struct IdleEvent {
  static constexpr unsigned int kLeft = 4294967295U;
  unsigned int cpu = 0;
  unsigned int state = 0;
};

/// `power:cpu_frequency`
struct FrequencyEvent {
  unsigned int cpu = 0;
  unsigned int kilohertz = 0;
};

/// `sched:sched_switch`: what the event's CPU runs from now on. Task 0 is idle.
struct SwitchEvent {
  int task = 0;
  std::string_view name;
};

/// `task:task_newtask`: tells what the fork of this task, which follows, makes.
struct NewTaskEvent {
  int creator = 0;
  int task = 0;
  bool isThread = false;
};

/// `sched:sched_process_fork`
struct ForkEvent {
  int parent = 0;
  int task = 0;
  std::string_view name;
};

/// `sched:sched_process_exec`
struct ExecEvent {
  int task = 0;
  std::string_view path;
};

/// `sched:sched_process_exit`, of each thread
struct ExitEvent {
  int task = 0;
  std::string_view name;
};

/// `power:wakeup_source_activate` and `power:wakeup_source_deactivate`
struct WakeupSourceEvent {
  std::string_view source;
  bool isActive = false;
};

/// `rpm:rpm_suspend`, `rpm:rpm_resume` and `rpm:rpm_idle`: what is asked for.
struct DeviceRequestEvent {
  std::string_view device;
  std::string_view request;
};

/// `rpm:rpm_status`, by the kernel's numbers (`enum rpm_status`).
struct DeviceStatusEvent {
  std::string_view device;
  int status = 0;
};

/// `thermal:thermal_temperature`
struct TemperatureEvent {
  std::string_view zone;
  int millidegrees = 0;
};

/// `thermal:thermal_zone_trip`
struct TripEvent {
  std::string_view zone;
  int trip = 0;
};

/// `thermal:cdev_update`
struct CoolingEvent {
  std::string_view device;
  unsigned long long state = 0;
};

/// Not of the kernel: events of the event's CPU after this time may be missing.
struct LostEvents {};

struct KernelEvent {
  using What =
      std::variant<IdleEvent, FrequencyEvent, SwitchEvent, NewTaskEvent, ForkEvent, ExecEvent,
                   ExitEvent, WakeupSourceEvent, DeviceRequestEvent, DeviceStatusEvent,
                   TemperatureEvent, TripEvent, CoolingEvent, LostEvents>;

  unsigned long long time = 0;  ///< ticks
  unsigned int cpu = 0;         ///< on which it happened
  What what;
};

}  // namespace tavrin
