#pragma once

#include <cstdio>
#include <memory>
#include <vector>

#include "hostcommon/session/MessageSink.h"

namespace tavrin {

/// Records messages as a stream of JSON Lines, which `StreamReader` gives back. The format is
/// described in docs/formats/recorded-stream.md.
///
/// Calls: `system`, then `define` (optional) and the other operations of `MessageSink` in any
/// order, `stop` once the system description is complete, `close`. A sample allocates nothing once
/// the buffer has grown to the size of the samples. Failed writes are noted and told by `close`.
class StreamWriter final : public pwr::MessageSink {
 public:
  /// `stream` is not owned: it must be open until `close` has returned, and the caller closes it.
  explicit StreamWriter(FILE* stream);
  ~StreamWriter() override;
  StreamWriter(const StreamWriter&) = delete;
  StreamWriter& operator=(const StreamWriter&) = delete;

  /// Writes the definitions of the metrics and of all that they refer to, in the order in which
  /// they were created: a process that replays the stream then hands out ids in the same order.
  /// What is not defined here is defined just before its first use.
  void define(const std::vector<const pwr::MetricDescription*>& metrics);

  void system(const pwr::SystemMetadata& metadata) override;
  void container(const pwr::MetricContainerInfoMessage& message) override;
  void metric(pwr::Metric& metric) override;
  void remainder(pwr::Metric& metric) override;
  void table(const pwr::TableMessage& message) override;
  void text(const pwr::TextMessage& message) override;
  void id(const pwr::IdMessage& message) override;
  void flush() override;

  /// Writes the last record: stop timestamp, duration, processes, threads and lost events.
  void stop(const pwr::SystemMetadata& metadata);

  /// Flushes the stream. Returns 0, or 1 when any write failed: the recording is not complete then.
  int close();

 private:
  class Recorder;

  std::unique_ptr<Recorder> recorder_;
};

}  // namespace tavrin
