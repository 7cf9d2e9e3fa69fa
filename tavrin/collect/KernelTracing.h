#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/common/ProcessTable.h"
#include "tavrin/events/EventMetrics.h"
#include "tavrin/tracing/TraceSource.h"

namespace tavrin {

/// The kernel's trace events of a run as messages: what the features that trace share. Its messages
/// come from the writer thread, between those of the sampling passes, which never wait for it.
///
/// Calls: `probe` for each feature, then `start`, `begin`, `deliver` several times a second, `stop`
/// as soon as the last samples are taken, and `finish`.
class KernelTracing {
 public:
  /// `lives` gets the processes that events tell of.
  explicit KernelTracing(std::shared_ptr<ProcessTable> lives) : lives_(std::move(lives)) {}

  /// Describes the metrics of the group, or tells why it cannot be traced: then `metrics` is empty.
  /// `root` and `cpus` must outlive this.
  std::string probe(EventGroup group, const SysRoot& root, CpuEntities& cpus,
                    unsigned int containerId, const std::string& tag,
                    std::vector<const pwr::MetricDescription*>& metrics);

  /// Has the kernel write events from now on. Throws CommandError.
  void start();
  /// Time from which on events count, in ticks.
  void begin(unsigned long long startTicks) { startTicks_ = startTicks; }
  /// Delivers what has happened. Returns whether there is more to be had at once.
  bool deliver(unsigned long long nowTicks, pwr::MessageSink& sink);
  /// Has the kernel write no more events, and those after `stopTicks` not count. Again it does
  /// nothing.
  void stop(unsigned long long stopTicks);
  /// Delivers the rest and removes what was made.
  void finish(pwr::MessageSink& sink);

  /// After `finish`, for each group: completes the description with lost events, once, and with the
  /// lifetimes of processes, for their group.
  void describe(EventGroup group, pwr::SystemDescription& system) const;
  /// After `finish`: how many known events were taken, and how many of any kind were lost.
  unsigned long long taken() const;
  unsigned long long lost() const;
  /// Where they were lost; with a count of 0 when none was.
  pwr::LostEvents lostEvents() const;

 private:
  static constexpr unsigned long long kNotStopped = ~0ULL;

  void followCpus(unsigned long long now);
  void forgetOfflineCpus(unsigned long long time, pwr::MessageSink& sink);
  bool take(unsigned long long time, std::size_t most, pwr::MessageSink& sink);

  const std::shared_ptr<ProcessTable> lives_;
  const SysRoot* root_ = nullptr;
  CpuEntities* cpus_ = nullptr;
  std::unique_ptr<TraceSource> source_;
  std::unique_ptr<EventMetrics> metrics_;
  std::vector<EventGroup> groups_;
  std::vector<TraceSource::Counts> counts_;
  std::optional<OnlineCpus> online_;
  /// CPUs that are or were there, and until when (ticks) their files may yet come.
  std::map<unsigned int, unsigned long long> followed_;
  unsigned long long startTicks_ = 0;
  unsigned long long stopTicks_ = kNotStopped;
};

}  // namespace tavrin
