#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "hostcommon/session/HostError.h"
#include "hostcommon/session/MessageSink.h"
#include "hostcommon/summary/SummaryTables.h"
#include "writers/host/SystemMetadata.h"
#include "writers/host/WriterPlugin.h"

namespace pwr {

/// Tells the user which events a run lacks.
PW_HOST_API void warnOfLostEvents(const std::vector<LostEvents>& events);

/// One run of the writers: opens them, hands them every message, adds the header text and the
/// summary tables at the end, and closes them. Live collection and replay both go through here, so
/// the same messages give the same outputs.
///
/// Calls: `open`, then those of `MessageSink`, then `finish`; all from one thread. A session that
/// is destroyed without `finish` leaves its outputs to the writers, which discard them.
class PW_HOST_API Session final : public MessageSink {
 public:
  /// The writers are not owned and must outlive the session. Each of them is offered each of the
  /// options ("--name=value") before it is opened.
  explicit Session(std::vector<WriterPlugin*> writers, std::vector<std::string> options = {})
      : writers_(std::move(writers)), options_(std::move(options)) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// What to do when the system description has come, before anything is delivered: a run that
  /// never comes so far leaves the files of earlier runs alone when it opens its outputs here.
  void beforeSystem(std::function<void()> action) { beforeSystem_ = std::move(action); }
  /// Opens every writer under `baseName`. Throws HostError naming those that cannot be opened;
  /// the session does nothing more then.
  void open(const std::string& baseName, bool continuous);
  /// Gives every message also to `recorder`, which is not owned, before the writers get it, except
  /// those that the session adds itself.
  void recordTo(MessageSink& recorder) { recorder_ = &recorder; }

  void system(const SystemMetadata& metadata) override;
  void container(const MetricContainerInfoMessage& message) override;
  /// Takes out values that are not finite, because no output can carry them: with a warning for
  /// each of the first metrics that have some, and a count of the others at the end.
  void metric(Metric& metric) override;
  /// Goes into the summary tables; the writers do not get it. Like `metric` otherwise.
  void remainder(Metric& metric) override;
  void table(const TableMessage& message) override;
  void text(const TextMessage& message) override;
  void id(const IdMessage& message) override;
  /// Has no effect unless the outputs were opened for continuous results.
  void flush() override;

  /// Flushes what is left, warns of lost events, delivers the header text and the summary tables,
  /// closes every writer.
  /// Returns the names of the writers whose output is not complete, a flush that failed included;
  /// none is unless `isWhole`: false says that the run lacks something.
  std::vector<std::string> finish(bool isWhole = true);

  /// What was added up so far.
  const SummaryTables& summary() const { return summary_; }
  /// Metric messages delivered.
  unsigned long long samples() const { return samples_; }

 private:
  template <typename Message>
  void deliver(const Message& message);
  void leaveOutNonFinite(Metric& metric);
  void warnOfNonFinite() const;
  void flushWriters();
  void deliverHeader();
  std::vector<std::string> close();

  std::vector<WriterPlugin*> writers_;
  std::vector<std::string> options_;
  std::vector<WriterPlugin*> open_;
  std::set<WriterPlugin*> unflushedWriters_;  ///< those of which a flush has failed
  MessageSink* recorder_ = nullptr;
  std::function<void()> beforeSystem_;
  const SystemMetadata* metadata_ = nullptr;
  SummaryTables summary_;
  std::set<unsigned int> nonFiniteMetrics_;
  bool hasHeader_ = false;
  bool continuous_ = false;
  bool unflushed_ = false;  ///< samples came after the last flush
  unsigned long long samples_ = 0;
};

}  // namespace pwr
