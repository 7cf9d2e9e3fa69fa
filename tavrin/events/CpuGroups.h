#pragma once

#include "tavrin/events/MetricGroup.h"

namespace tavrin {

/// The idle state of each CPU, or that it is active.
class IdleGroup final : public MetricGroup {
 public:
  IdleGroup(EventShared& shared, const Place& place);
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;
  void forgetCpu(unsigned int cpu, unsigned long long time, pwr::MessageSink& sink) override {
    states_.forget(cpu, time, sink);
  }
  void finish(unsigned long long time, pwr::MessageSink& sink) override {
    states_.finish(time, sink);
  }

 private:
  pwr::Data state(const IdleEvent& event) const;

  const EventShared& shared_;
  CpuStates states_;
};

/// The frequency of each CPU, in MHz. One change of a policy is an event for each of its CPUs.
class FrequencyGroup final : public MetricGroup {
 public:
  FrequencyGroup(EventShared& shared, const Place& place);
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;
  void forgetCpu(unsigned int cpu, unsigned long long time, pwr::MessageSink& sink) override {
    states_.forget(cpu, time, sink);
  }
  void finish(unsigned long long time, pwr::MessageSink& sink) override {
    states_.finish(time, sink);
  }

 private:
  static std::vector<pwr::Data> frequencies(const EventFacts& facts);

  CpuStates states_;
};

/// The task that each CPU runs, by its name, with PID and TID as attributes.
class ScheduleGroup final : public MetricGroup {
 public:
  ScheduleGroup(EventShared& shared, const Place& place);
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;
  void forgetCpu(unsigned int cpu, unsigned long long time, pwr::MessageSink& sink) override {
    states_.forget(cpu, time, sink);
  }
  void finish(unsigned long long time, pwr::MessageSink& sink) override {
    states_.finish(time, sink);
  }

 private:
  EventShared& shared_;
  CpuStates states_;
};

}  // namespace tavrin
