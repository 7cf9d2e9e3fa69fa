#include "tavrin/events/EventGroups.h"

#include <algorithm>

namespace tavrin {

namespace {

constexpr EventGroupNames kGroups[] = {
    {EventGroup::Idle, "cstate-trace", "CPU C-State Trace",
     "Each entry of a CPU into a sleep state"},
    {EventGroup::Frequency, "pstate-trace", "CPU Frequency Trace",
     "Each change of a CPU's frequency"},
    {EventGroup::Schedule, "sched-trace", "Scheduler Trace", "Which task each CPU runs and when"},
    {EventGroup::Process, "process-trace", "Process Trace",
     "Forks, execs and exits of processes and threads"},
    {EventGroup::Wakeup, "wakeup-trace", "Wakeup Source Trace",
     "When wakeup sources keep the system awake"},
    {EventGroup::DevicePower, "device-trace", "Device Power Trace",
     "Runtime power management of devices"},
    {EventGroup::Thermal, "thermal-trace", "Thermal Trace",
     "Trips of thermal zones and states of cooling devices"},
    {EventGroup::Regulator, "regulator-trace", "Regulator Trace",
     "When voltage regulators are enabled"},
    {EventGroup::Clock, "clock-trace", "Clock Trace", "When clocks are enabled, and their rates"},
    {EventGroup::Other, "event-trace", "Other Events", "Any other event of a kernel recording"},
};

}  // namespace

std::span<const EventGroupNames> eventGroups() {
  return kGroups;
}

const EventGroupNames& namesOf(EventGroup group) {
  return *std::ranges::find(kGroups, group, &EventGroupNames::group);
}

}  // namespace tavrin
