#pragma once

#include <cassert>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "writers/common/WriterLog.h"
#include "writers/host/PluginCapability.h"
#include "writers/host/WriterPlugin.h"

/// Base of the writers. What a writer keeps while its output is open is one object, its run: made
/// when the output is opened, gone when it is closed, whether that succeeds or not, so that a
/// writer opened again begins anew. This base holds the run and hands it the messages; it refuses,
/// with a line, what comes while no output is open, and a second opening of an open one.
///
/// A run has `int close()`, and
///
/// * `int write(const MessageType&)` for every type of message that it takes; others are ignored;
/// * `bool flush(const pwr::SystemMetadata&)` if its writer has continuous results;
/// * `static std::string closedLine(const std::string& baseName)` if it has a line of its own for a
///   writer that is closed while it is not open. `baseName` is that of the latest opening, or "".
///
/// All return what the operation of `WriterPlugin` returns. A run that is destroyed without `close`
/// leaves nothing behind.
template <typename Run>
class RunWriter : public WriterPlugin {
 public:
  /// Makes the run of an output; null when the output cannot be opened, which it has logged.
  using MakeRun = std::function<std::unique_ptr<Run>(const std::string& baseName, bool continuous)>;

  int openOutput(const std::string& baseName, bool continuous) override {
    if (run_ != nullptr) {
      PW_LOG(log_, PW_LOG_WARNING,
             "WARNING: The output of writer %s is open already; %s is not opened.\n", name_.c_str(),
             baseName.c_str());
      return 1;
    }
    baseName_ = baseName;
    hasRefused_ = false;
    run_ = makeRun_(baseName, continuous);
    return run_ == nullptr ? 1 : 0;
  }

  int closeOutput() override {
    if (run_ == nullptr) {
      PW_LOG(log_, PW_LOG_WARNING, "%s", closedLine_i().c_str());
      return 1;
    }
    hasRefused_ = false;
    const std::unique_ptr<Run> run = std::move(run_);
    return run->close();
  }

  bool flushContinuousResults(const pwr::SystemMetadata& metadata) override {
    if constexpr (requires(Run & run) { run.flush(metadata); }) {
      return isOpenFor("a flush") && run_->flush(metadata);
    } else {
      return WriterPlugin::flushContinuousResults(metadata);
    }
  }

 protected:
  /// Takes ownership of `capability`. `log` has to live as long as the writer.
  RunWriter(const std::string& guid, pwr::WriterPluginCapability* capability, const WriterLog& log,
            MakeRun makeRun)
      : WriterPlugin(guid), name_(capability->getName()), log_(log), makeRun_(std::move(makeRun)) {
    WriterPlugin::addCapability(capability);
  }

  bool isOpen() const { return run_ != nullptr; }
  /// Whether there is an output for what came; otherwise it is refused with a line, once until the
  /// next opening or closing.
  bool isOpenFor(const char* what) {
    if (run_ != nullptr) return true;
    const PWLogLevel level = hasRefused_ ? PW_LOG_DEBUG : PW_LOG_WARNING;
    hasRefused_ = true;
    PW_LOG(log_, level, "WARNING: Writer %s has no open output: %s is refused.\n", name_.c_str(),
           what);
    return false;
  }
  /// Only while the output is open.
  Run& run() {
    assert(run_ != nullptr);
    return *run_;
  }

  int writeMessage(const pwr::MetricContainerInfoMessage& message) override {
    return hand_i(message, "a metric container");
  }
  int writeMessage(const pwr::Metric& metric) override { return hand_i(metric, "a metric"); }
  int writeMessage(const pwr::SystemMessage& message) override {
    return hand_i(message, "a system description");
  }
  int writeMessage(const pwr::TextMessage& message) override { return hand_i(message, "a text"); }
  int writeMessage(const pwr::TableMessage& message) override { return hand_i(message, "a table"); }

 private:
  template <typename Message>
  int hand_i(const Message& message, const char* what) {
    if (!isOpenFor(what)) return 1;
    if constexpr (requires(Run & run) { run.write(message); }) return run_->write(message);
    return 0;
  }

  std::string closedLine_i() const {
    if constexpr (requires { Run::closedLine(baseName_); }) return Run::closedLine(baseName_);
    return "WARNING: Writer " + name_ + " has no open output to close.\n";
  }

  const std::string name_;
  const WriterLog& log_;
  const MakeRun makeRun_;
  std::string baseName_;  // of the latest opening
  std::unique_ptr<Run> run_;
  bool hasRefused_ = false;
};
