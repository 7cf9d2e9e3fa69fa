#include "tavrin/import/ResultImport.h"

#include <algorithm>
#include <utility>

#include "readers/RunFiles.h"
#include "tavrin/common/Messages.h"
#include "tavrin/import/ResultSystem.h"

namespace tavrin {

namespace {

/// What a format has lost, for the user.
const char* lossOf(ResultFormat format) {
  switch (format) {
    case ResultFormat::BinaryStream:
      return "a .ztbin file has no names of states, sums beyond the samples, headings, processes, "
             "wall-clock time, command line and version of the system; its reals have 24 bits";
    case ResultFormat::JsonTrace:
      return "a .ztjson file has no features, sums beyond the samples, headings, processes and "
             "wall-clock time; its times are cut to microseconds, on a grid that grows with the "
             "run";
    case ResultFormat::NumberedJson:
      return "a numbered .ztjson file has no names of states, sums beyond the samples, headings, "
             "processes, wall-clock time, command line and versions";
    case ResultFormat::Timeline:
      break;
  }
  return "a .pwr file has no sums beyond the samples, headings, modules, command line and end of "
         "the collection; its metrics are grouped";
}

}  // namespace

ResultImport::ResultImport(PeekedSource& input, pwr::MessageSink& sink,
                           const ImportOptions& options)
    : input_(input),
      sink_(sink),
      bytes_(input),
      files_(options.files),
      clockMHz_(options.clockMHz) {
  if (files_.size() < 2 && !input.path().empty()) files_ = withFollowing(input.path());
  if (files_.empty()) files_ = {input.name()};
}

void ResultImport::begin() {
  const Clock clock = reader_->clock();
  std::string warning = input_.name() + ": " + lossOf(reader_->format());
  constexpr unsigned int kDefaultMHz = 1000;
  const unsigned int known = wholeMHz(clock);
  if (clockMHz_ == 0 && known == 0) {
    warning += "; its clock is unknown and taken for " + std::to_string(kDefaultMHz) +
               " MHz (--clock says another)";
  }
  warn(warning);
  const unsigned int mhz = clockMHz_ != 0 ? clockMHz_ : known != 0 ? known : kDefaultMHz;
  metadata_.edit() = systemOf(*reader_, mhz);
  latestEnd_ = clock.start;
  descriptions_.emplace(*reader_, mhz);
  sink_.system(metadata_);
}

int ResultImport::replay(std::string& error) {
  int status = 0;
  try {
    reader_.emplace(std::make_unique<ResultFile>(input_.name(), bytes_), files_);
    begin();
    Point point;
    while (!input_.isStopped() && reader_->next(point)) take(point);
  } catch (const ResultError& fault) {
    // What was stopped looks as if it were cut off.
    if (!input_.isStopped()) {
      error = fault.what();
      status = 1;
    }
  }
  if (descriptions_) {
    deliver();
    complete();
  }
  return status;
}

void ResultImport::take(const Point& point) {
  const Series& series = reader_->series()[point.series];
  lastSamples_.resize(reader_->series().size());
  const std::uint64_t time = descriptions_->ticksOf(point);
  if (series.metric != metric_ || time != time_ || lastSamples_[point.series] == sample_) {
    deliver();
    metric_ = series.metric;
    time_ = time;
  }
  lastSamples_[point.series] = sample_;
  elements_.push_back(descriptions_->element(point));
  latestEnd_ = std::max({latestEnd_, time_, descriptions_->endOf(point)});
}

void ResultImport::deliver() {
  if (elements_.empty()) return;
  pwr::Metric& metric = descriptions_->metric(metric_);
  metric.editData().timestamp = time_;
  std::swap(metric.editData().elements, elements_);
  sink_.metric(metric);
  std::swap(metric.editData().elements, elements_);
  elements_.clear();
  ++sample_;
}

/// The last file of a run knows best when the collection ended.
void ResultImport::complete() {
  const Clock clock = reader_->clock();
  pwr::SystemDescription& system = metadata_.edit();
  system.collectionStopTimestamp = clock.stop != 0 ? clock.stop : latestEnd_;
  system.collectionDurationSec = clock.durationSec;
  if (clock.durationSec > 0.0) return;
  constexpr double kMicroseconds = 1e6;
  system.collectionDurationSec =
      static_cast<double>(system.collectionStopTimestamp - system.collectionStartTimestamp) /
      (system.timestampClockFrequencyMHz * kMicroseconds);
}

}  // namespace tavrin
