#include "hostcommon/session/Session.h"

#include <cerrno>
#include <cmath>
#include <system_error>

#include "hostcommon/HostLog.h"
#include "hostcommon/NumberText.h"
#include "hostcommon/WriterDispatch.h"
#include "hostcommon/session/HostError.h"
#include "hostcommon/session/PluginLibrary.h"
#include "writers/host/PluginEnvironment.h"

namespace pwr {

namespace {

constexpr std::size_t kMostNonFiniteNamed = 10;

bool isFinite(const Data& value) {
  double real = 0.0;
  Data::RealPair range;
  if (value.toReal(real) == 0) return std::isfinite(real);
  if (value.toRealRange(range) == 0)
    return std::isfinite(range.first) && std::isfinite(range.second);
  return true;
}

std::string shortest(double number) {
  std::string text;
  appendShortest(text, number);
  return text;
}

/// Warns of a time stamp counter that cannot be the timestamp clock.
void checkClock(const SystemMetadata& metadata) {
  const double counter = metadata.getDescription().tscFrequencyMHz;
  const unsigned int clock = metadata.getTimestampClockFrequencyMHz();
  if (counter == 0.0 || clock == 0 || std::abs(counter - clock) < 1.0) return;
  warn("the time stamp counter runs at " + shortest(counter) + " MHz, the timestamp clock at " +
       std::to_string(clock) + " MHz; times are taken as ticks of the timestamp clock");
}

std::string joined(const std::vector<std::string>& names, const char* separator) {
  std::string text;
  for (const std::string& name : names) {
    if (!text.empty() && !name.empty()) text += separator;
    text += name;
  }
  return text;
}

}  // namespace

MessageSink::~MessageSink() = default;

void Session::open(const std::string& baseName, bool continuous) {
  continuous_ = continuous;
  std::vector<std::string> failed;
  std::string cause;
  for (WriterPlugin* writer : writers_) {
    for (const std::string& option : options_) writer->handleBroadcastOption(option);
    WriterDispatch::notifyOptionsSet(*writer);
    errno = 0;  // writers tell success or failure only
    if (writer->openOutput(baseName, continuous) == 0) {
      open_.push_back(writer);
    } else {
      if (cause.empty() && errno != 0) cause = ": " + std::generic_category().message(errno);
      failed.push_back(PluginLibrary::nameOf(*writer));
    }
  }
  if (failed.empty()) return;
  open_.clear();  // not closed: there is no run whose results they could complete
  throw HostError(HostError::Cause::Failure, "cannot open the output of writer " +
                                                 joined(failed, ", ") + " under '" + baseName +
                                                 "'" + cause);
}

template <typename Message>
void Session::deliver(const Message& message) {
  for (WriterPlugin* writer : open_) WriterDispatch::write(*writer, message);
}

void Session::system(const SystemMetadata& metadata) {
  if (beforeSystem_) beforeSystem_();
  metadata_ = &metadata;
  checkClock(metadata);
  if (recorder_ != nullptr) recorder_->system(metadata);
  deliver(SystemMessage(&metadata));
}

void Session::container(const MetricContainerInfoMessage& message) {
  summary_.noteContainer(message.getContainerId());
  if (recorder_ != nullptr) recorder_->container(message);
  deliver(message);
}

void Session::leaveOutNonFinite(Metric& metric) {
  const auto removed = std::erase_if(metric.editData().elements, [](const DataElement& element) {
    return !isFinite(*element.getValue());
  });
  if (removed == 0 || !nonFiniteMetrics_.insert(metric.getId()).second) return;
  if (nonFiniteMetrics_.size() > kMostNonFiniteNamed) return;
  warn("a value of metric '" + metric.getName() +
       "' is not finite and is left out; further ones are left out silently");
}

void Session::warnOfNonFinite() const {
  if (nonFiniteMetrics_.size() <= kMostNonFiniteNamed) return;
  warn("values of " + std::to_string(nonFiniteMetrics_.size() - kMostNonFiniteNamed) +
       " more metrics are not finite and are left out");
}

void Session::metric(Metric& metric) {
  leaveOutNonFinite(metric);
  ++samples_;
  unflushed_ = true;
  summary_.add(metric);
  if (recorder_ != nullptr) recorder_->metric(metric);
  deliver(metric);
}

void Session::remainder(Metric& metric) {
  leaveOutNonFinite(metric);
  summary_.addRemainder(metric);
  if (recorder_ != nullptr) recorder_->remainder(metric);
}

void Session::table(const TableMessage& message) {
  summary_.noteContainer(message.getContainerId());
  if (recorder_ != nullptr) recorder_->table(message);
  deliver(message);
}

void Session::text(const TextMessage& message) {
  hasHeader_ = hasHeader_ || message.getKind() == TextMessageKind::Header;
  if (recorder_ != nullptr) recorder_->text(message);
  deliver(message);
}

void Session::id(const IdMessage& message) {
  if (recorder_ != nullptr) recorder_->id(message);
  deliver(message);
}

void Session::flush() {
  if (recorder_ != nullptr) recorder_->flush();
  flushWriters();
}

void Session::flushWriters() {
  unflushed_ = false;
  for (WriterPlugin* writer : open_) {
    if (!continuous_ || !PluginLibrary::capability(*writer).getFlag()) continue;
    if (writer->flushContinuousResults(*metadata_)) continue;
    warn("writer " + PluginLibrary::nameOf(*writer) + " could not write its continuous results");
    unflushedWriters_.insert(writer);
  }
}

void Session::deliverHeader() {
  std::string duration;
  appendFixed(duration, metadata_->getCollectionDurationSec(), 2);
  const std::pair<const char*, std::string> lines[] = {
      {"Tavrin version: ", metadata_->getProductVersion()},
      {"Collection start: ", metadata_->getCollectionStartTime()},
      {"Collection duration: ", duration + " s"},
      {"Command line: ", metadata_->getCommandLine()},
      {"Host: ", metadata_->getHostName()},
      {"Platform: ", metadata_->getPlatformName()},
      {"Processor: ", metadata_->getCPUNativeModelName(0)},
      {"Operating system: ", joined({metadata_->getOSName(), metadata_->getOSVersion()}, " ")},
  };
  std::string text;
  for (const auto& [label, value] : lines) {
    if (!value.empty()) text += label + value + "\n";
  }
  HeaderTextMessage header;
  header.setMessage(text);
  deliver(header);
}

void warnOfLostEvents(const std::vector<LostEvents>& events) {
  for (const LostEvents& lost : events) {
    if (lost.count == 0) continue;
    warn(std::to_string(lost.count) + " events of " + lost.source + " are lost");
  }
}

std::vector<std::string> Session::finish(bool isWhole) {
  g_pluginEnvironment->setRunIncomplete(!isWhole);
  if (unflushed_) flushWriters();
  warnOfNonFinite();
  if (metadata_ != nullptr) {
    warnOfLostEvents(metadata_->getLostEvents());
    if (!hasHeader_) deliverHeader();
    summary_.deliver(
        *metadata_, [this](const MetricContainerInfoMessage& message) { deliver(message); },
        [this](const TableMessage& message) { deliver(message); });
  }
  return close();
}

std::vector<std::string> Session::close() {
  std::vector<std::string> incomplete;
  for (WriterPlugin* writer : open_) {
    const bool isClosed = writer->closeOutput() == 0;
    if (!isClosed || unflushedWriters_.contains(writer))
      incomplete.push_back(PluginLibrary::nameOf(*writer));
  }
  open_.clear();
  g_pluginEnvironment->setRunIncomplete(false);
  return incomplete;
}

}  // namespace pwr
