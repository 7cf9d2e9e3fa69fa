#pragma once

#include "tavrin/events/MetricGroup.h"

namespace tavrin {

/// Forks, execs and exits: of processes and, apart from them, of threads. They also tell the
/// lifetimes of those that begin meanwhile.
class ProcessGroup final : public MetricGroup {
 public:
  ProcessGroup(EventShared& shared, const Place& place);
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;

 private:
  void tell(const KernelEvent& event, int task, const char* what, std::string_view name,
            pwr::MessageSink& sink);
  void fork(const KernelEvent& event, const ForkEvent& fork, pwr::MessageSink& sink);
  void exec(const KernelEvent& event, const ExecEvent& exec, pwr::MessageSink& sink);
  void exit(const KernelEvent& event, const ExitEvent& exit, pwr::MessageSink& sink);

  EventShared& shared_;
  const pwr::Attribute* const nameAttribute_;
  TracedMetric events_;
};

}  // namespace tavrin
