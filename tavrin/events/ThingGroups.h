#pragma once

#include "tavrin/events/MetricGroup.h"

namespace tavrin {

/// Which wakeup sources keep the system awake, and when.
class WakeupGroup final : public MetricGroup {
 public:
  WakeupGroup(EventShared& shared, const Place& place);
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;
  void finish(unsigned long long time, pwr::MessageSink& sink) override {
    states_.finish(time, sink);
  }

 private:
  ThingStates states_;
};

/// Runtime power management: the status of devices, and what is asked of them. When the whole
/// system falls asleep or wakes up, how long each of their callbacks takes.
class DeviceGroup final : public MetricGroup {
 public:
  DeviceGroup(EventShared& shared, const Place& place);
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;
  void finish(unsigned long long time, pwr::MessageSink& sink) override;

 private:
  ThingStates states_;
  NamedThings devices_;
  TracedMetric requests_;
  ThingStates callbacks_;
};

/// Temperatures as thermal zones read them, their trips, and the states of cooling devices.
class ThermalGroup final : public MetricGroup {
 public:
  ThermalGroup(EventShared& shared, const Place& place);
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;
  void finish(unsigned long long time, pwr::MessageSink& sink) override;

 private:
  ThingStates temperatures_;
  ThingStates cooling_;
  NamedThings zones_;
  TracedMetric trips_;
};

/// Which voltage regulators are enabled.
class RegulatorGroup final : public MetricGroup {
 public:
  RegulatorGroup(EventShared& shared, const Place& place);
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;
  void finish(unsigned long long time, pwr::MessageSink& sink) override {
    states_.finish(time, sink);
  }

 private:
  ThingStates states_;
};

/// Which clocks are enabled, and their rates.
class ClockGroup final : public MetricGroup {
 public:
  ClockGroup(EventShared& shared, const Place& place);
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;
  void finish(unsigned long long time, pwr::MessageSink& sink) override;

 private:
  ThingStates states_;
  ThingStates rates_;
};

}  // namespace tavrin
