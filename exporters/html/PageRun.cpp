#include "exporters/html/PageRun.h"

#include <algorithm>
#include <cerrno>

#include "exporters/html/PageDocument.h"
#include "writers/common/TextLog.h"
#include "writers/common/TimeScale.h"

namespace {

/// Points as they came take so many times what they take when they are packed, at most.
constexpr std::size_t kMostPacking = 10;
/// Of points as they came.
constexpr std::size_t kMostMemory = std::size_t{20} << 20U;
/// Bins take so many times what they take when they are packed, at most.
constexpr std::size_t kMostBinPacking = 16;
constexpr std::size_t kMostBinMemory = std::size_t{36} << 20U;
/// The tables of the report may take this part of a page.
constexpr std::size_t kTablePart = 4;

}  // namespace

PageRun::PageRun(std::size_t mostBytes)
    : mostBytes_(mostBytes),
      store_(std::min(kMostMemory, mostBytes * kMostPacking),
             std::min(kMostBinMemory, mostBytes * kMostBinPacking)),
      tables_(mostBytes / kTablePart) {}

bool PageRun::open(const std::string& baseName) {
  const std::string path = baseName + ".html";
  if (file_.open(path)) return true;
  PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Cannot create %s: %s\n", path.c_str(),
         systemErrorText(errno).c_str());
  return false;
}

int PageRun::write(const pwr::SystemMessage& message) {
  constexpr double kMicrosecondsPerSecond = 1e6;
  system_ = message.getSystemMetadata();
  const float clock = system_->getTscFrequencyMHz();
  store_.setTicksPerSecond(usableTicksPerMicrosecond(clock) * kMicrosecondsPerSecond);
  recorder_.setStart(system_->getCollectionStartTimestamp());
  tables_.setTicksPerMicrosecond(clock);
  return 0;
}

int PageRun::write(const pwr::MetricContainerInfoMessage& message) {
  tables_.add(message);
  return 0;
}

int PageRun::write(const pwr::Metric& metric) {
  recorder_.add(metric);
  return 0;
}

int PageRun::write(const pwr::TableMessage& message) {
  tables_.add(message);
  return 0;
}

/// 0 where it is not known.
long long PageRun::durationTicks() const {
  if (system_ == nullptr) return 0;
  const unsigned long long start = system_->getCollectionStartTimestamp();
  const unsigned long long stop = system_->getCollectionStopTimestamp();
  if (stop > start) {
    return static_cast<long long>(
        std::min(stop - start, static_cast<unsigned long long>(kMostTicks)));
  }
  const double ticks = system_->getCollectionDurationSec() * store_.ticksPerSecond();
  return ticks > 0.0 && ticks < static_cast<double>(kMostTicks) ? static_cast<long long>(ticks) : 0;
}

int PageRun::close() {
  store_.finish(durationTicks());
  const PageDocument document = makeDocument({system_, store_, recorder_, tables_}, mostBytes_);
  const std::string head = headOf(document);
  const std::string tail = tailOf();
  if (head.size() + document.points.size() + tail.size() > mostBytes_) {
    PW_LOG(kPlainLog, PW_LOG_WARNING,
           "WARNING: %s is larger than asked for (%zu bytes): the page itself takes as much.\n",
           file_.getPath().c_str(), mostBytes_);
  }
  for (const std::string* const part : {&head, &document.points, &tail}) file_.write(*part);
  return file_.close();
}
