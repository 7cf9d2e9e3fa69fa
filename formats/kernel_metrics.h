#pragma once

#include <string_view>

/// How the metrics are called that kernel events of tracing and of recordings become, so that
/// outputs can know them again as the events that they were. All are transitions of hardware
/// threads, which come as finished states.
namespace kernel_metrics {

/// The task that a CPU runs, by its name. PID and TID are attributes; the idle task has none.
inline constexpr std::string_view kRunningTask = "Running Task";
inline constexpr std::string_view kIdleTask = "idle";

/// The idle state of a CPU, by its name. The values that the metric can have are told: that the CPU
/// is not idle, and the idle states by their numbers. One without a name is "state" and its number.
inline constexpr std::string_view kIdleState = "CPU Idle State";
inline constexpr std::string_view kNotIdle = "Active";
inline constexpr std::string_view kNamelessState = "state";

/// In MHz.
inline constexpr std::string_view kFrequency = "CPU Frequency Changes";

/// A hardware thread is an entity of this level whose name is this and its number.
inline constexpr std::string_view kCpuLevel = "Thread";
inline constexpr std::string_view kCpuName = "CPU";

}  // namespace kernel_metrics
