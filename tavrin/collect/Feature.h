#pragma once

#include <string>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "tavrin/collect/SampleBatch.h"
#include "writers/host/Metric.h"

namespace tavrin {

class CpuEntities;
class KernelTracing;
class SysRoot;

/// One kind of live telemetry: a metric container with its metrics and the code that samples them.
///
/// Calls: `probe` once; if it found the feature, `sample` at the start of the collection, which
/// only takes the first readings, and then at the end of every interval; `remainder` and `finish`
/// at the end.
class Feature {
 public:
  /// `tag`: the name by which users and the output configuration know the feature.
  /// `containerName`: name of its metric container. `help`: one line for `tavrin list`.
  Feature(std::string tag, std::string containerName, std::string help)
      : tag_(std::move(tag)), containerName_(std::move(containerName)), help_(std::move(help)) {}
  virtual ~Feature() = default;
  Feature(const Feature&) = delete;
  Feature& operator=(const Feature&) = delete;

  const std::string& tag() const { return tag_; }
  const std::string& containerName() const { return containerName_; }
  const std::string& help() const { return help_; }

  /// Looks for the feature below `root` and creates the descriptions of its metrics, in the
  /// container `containerId`. Returns "" when the machine has it, else the reason why not (it then
  /// has created nothing). `root` and `cpus` must outlive the feature.
  virtual std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) = 0;

  /// True when the kernel brings the counters of a CPU up to date only when that CPU wakes, so that
  /// all of them should be woken before `sample`. Valid after `probe`.
  virtual bool needsAwakeCpus() const { return false; }

  /// Of its metrics and tables. Valid after `probe`.
  virtual unsigned int containerId() const { return metrics_.front()->containerId; }

  /// True for a feature whose cost can be notable: it is collected only where it is asked for.
  virtual bool isOnDemand() const { return false; }

  /// What delivers the feature's messages besides its passes, in the writer thread; features may
  /// share it. Null for none.
  virtual KernelTracing* tracing() { return nullptr; }

  /// What `probe` created.
  const std::vector<const pwr::MetricDescription*>& metrics() const { return metrics_; }

  /// Tells that the next `sample` is the last, in which nothing waits for its turn.
  virtual void expectLast() {}

  /// Takes readings at `now` (ticks) and appends to `batch` the samples of the interval that ends
  /// now; a sample's timestamp is the interval's start. A reading that fails is a gap, not an
  /// error.
  virtual void sample(unsigned long long now, SampleBatch& batch) = 0;

  /// To be called after the last `sample`: appends messages, one at least for each metric, with
  /// what was counted in the time of its intervals and that none of them has
  /// (`MessageSink::remainder`).
  virtual void remainder(SampleBatch& batch) const {
    for (const pwr::MetricDescription* metric : metrics_) batch.add(metric, 0);
  }

  /// To be called last, after the readings of `remainder` and with the times of the collection in
  /// `system`: completes what the feature knows of the system (processes, lost events), and
  /// delivers the tables that cannot be made of its metrics, in its container.
  virtual void finish(pwr::SystemDescription& /*system*/, pwr::MessageSink& /*sink*/) {}

 protected:
  const pwr::MetricDescription* addMetric(const pwr::MetricDescription* metric) {
    metrics_.push_back(metric);
    return metric;
  }

 private:
  const std::string tag_;
  const std::string containerName_;
  const std::string help_;
  std::vector<const pwr::MetricDescription*> metrics_;
};

}  // namespace tavrin
