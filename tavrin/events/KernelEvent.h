#pragma once

#include <span>
#include <string_view>
#include <variant>

namespace tavrin {

/// What the kernel's trace events say, without where they come from: a ring buffer that is read
/// live, or a recording. Names follow the kernel's (Documentation/trace/events-power.rst,
/// include/trace/events/{clk,power,regulator,rpm,sched,task,thermal}.h). Texts and fields are valid
/// during the call that hands an event over.

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

/// `regulator:regulator_enable`, `regulator:regulator_disable` and the `…_complete` of each.
struct RegulatorEvent {
  std::string_view regulator;
  std::string_view state;  ///< from now on: "enabling", "enabled", "disabling", "disabled"
};

/// `clk:clk_enable_complete` and `clk:clk_disable_complete`; of older kernels `power:clock_enable`
/// and `power:clock_disable`.
struct ClockEvent {
  std::string_view clock;
  bool isEnabled = false;
};

/// `clk:clk_set_rate_complete`; of older kernels `power:clock_set_rate`.
struct ClockRateEvent {
  std::string_view clock;
  unsigned long long hertz = 0;
};

/// `power:device_pm_callback_start` and `power:device_pm_callback_end`: what a device is asked to
/// do when the whole system falls asleep or wakes up.
struct DeviceCallbackEvent {
  std::string_view device;
  bool isBegin = false;
  std::string_view operations{};  ///< whose the callback is: "noirq bus"; of a begin only
  std::string_view verb{};        ///< "suspend"; of a begin only
};

/// A field of an event.
struct EventField {
  using Value = std::variant<long long, unsigned long long, std::string_view>;

  std::string_view name;
  Value value;
};

/// Any other event, also one of a known name without the fields that it needs.
struct OtherEvent {
  std::span<const EventField> fields;
  /// What it says, where that is one text (`ftrace:print`, `ftrace:bprint`); else empty.
  std::string_view text{};
  int task = -1;  ///< that ran; negative where it is not known
  std::string_view taskName{};
};

/// Not of the kernel: events of the event's CPU after this time may be missing.
struct LostEvents {
  unsigned long long count = 0;  ///< how many; 0 where nobody tells
};

struct KernelEvent {
  using What =
      std::variant<IdleEvent, FrequencyEvent, SwitchEvent, NewTaskEvent, ForkEvent, ExecEvent,
                   ExitEvent, WakeupSourceEvent, DeviceRequestEvent, DeviceStatusEvent,
                   TemperatureEvent, TripEvent, CoolingEvent, RegulatorEvent, ClockEvent,
                   ClockRateEvent, DeviceCallbackEvent, OtherEvent, LostEvents>;

  unsigned long long time = 0;  ///< ticks
  unsigned int cpu = 0;         ///< on which it happened
  What what;
  /// The kernel's name of the event and of the system that it belongs to, where the source tells
  /// them: a recording has the name of each event, a live source of none.
  std::string_view name{};
  std::string_view system{};
};

}  // namespace tavrin
