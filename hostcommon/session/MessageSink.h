#pragma once

#include "writers/host/IdMessage.h"
#include "writers/host/Metric.h"
#include "writers/host/MetricContainerInfoMessage.h"
#include "writers/host/SystemMetadata.h"
#include "writers/host/TableMessage.h"
#include "writers/host/TextMessage.h"

namespace pwr {

/// Takes the messages of one run, from live collection or from a recorded stream, in their order:
/// `system` first and once, then any of the others. All calls come from one thread.
class PW_HOST_API MessageSink {
 public:
  virtual ~MessageSink();

  /// `metadata` outlives the run; whoever delivers it completes it (stop timestamp, duration,
  /// processes, lost events) before the run is finished.
  virtual void system(const SystemMetadata& metadata) = 0;
  virtual void container(const MetricContainerInfoMessage& message) = 0;
  /// The sink may take elements out of the metric's data point.
  virtual void metric(Metric& metric) = 0;
  /// What the run has of a counted or timed metric beyond its samples, for totals only: the
  /// elements tell value, entity and descriptor; the timestamp says nothing. A metric with a
  /// remainder, even without elements, is reported although it may have no samples.
  virtual void remainder(Metric& metric) = 0;
  virtual void table(const TableMessage& message) = 0;
  virtual void text(const TextMessage& message) = 0;
  virtual void id(const IdMessage& message) = 0;
  /// Continuous results are to be flushed now.
  virtual void flush() = 0;
};

}  // namespace pwr
