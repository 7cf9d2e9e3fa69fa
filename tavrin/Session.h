#pragma once

#include <set>
#include <string>
#include <vector>

#include "tavrin/common/MessageSink.h"
#include "tavrin/summary/SummaryTables.h"
#include "writers/host/WriterPlugin.h"

namespace tavrin {

/// One run of the writers: opens them, hands them every message, adds the header text and the
/// summary tables at the end, and closes them. Live collection and replay both go through here, so
/// the same messages give the same outputs.
///
/// Calls: `open`, then those of `MessageSink`, then `finish`; all from one thread.
class Session final : public MessageSink {
 public:
  /// The writers are not owned and must outlive the session. `recorder`, which may be null, gets
  /// every message before the writers do, except those that the session adds itself.
  Session(std::vector<WriterPlugin*> writers, MessageSink* recorder);
  /// Closes what is still open.
  ~Session() override;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Opens every writer under `baseName`. Throws CommandError naming those that cannot be opened;
  /// the session does nothing more then.
  void open(const std::string& baseName, bool continuous);

  void system(const pwr::SystemMetadata& metadata) override;
  void container(const pwr::MetricContainerInfoMessage& message) override;
  /// Takes out values that are not finite, with one warning per metric: no output can carry them.
  void metric(pwr::Metric& metric) override;
  /// Goes into the summary tables; the writers do not get it. Like `metric` otherwise.
  void remainder(pwr::Metric& metric) override;
  void table(const pwr::TableMessage& message) override;
  void text(const pwr::TextMessage& message) override;
  void id(const pwr::IdMessage& message) override;
  /// Has no effect unless the outputs were opened for continuous results.
  void flush() override;

  /// Flushes what is left, delivers the header text and the summary tables, closes every writer.
  /// Returns the names of the writers whose output is not complete.
  std::vector<std::string> finish();

  /// Metric messages delivered.
  unsigned long long samples() const { return samples_; }

 private:
  template <typename Message>
  void deliver(const Message& message);
  void leaveOutNonFinite(pwr::Metric& metric);
  void flushWriters();
  void deliverHeader();
  std::vector<std::string> close();

  std::vector<WriterPlugin*> writers_;
  std::vector<WriterPlugin*> open_;
  MessageSink* recorder_;
  const pwr::SystemMetadata* metadata_ = nullptr;
  SummaryTables summary_;
  std::set<unsigned int> warnedMetrics_;
  bool hasHeader_ = false;
  bool continuous_ = false;
  bool unflushed_ = false;  ///< samples came after the last flush
  unsigned long long samples_ = 0;
};

}  // namespace tavrin
