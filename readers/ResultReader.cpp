#include "readers/ResultReader.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "formats/metric_kinds.h"
#include "readers/FormatError.h"
#include "readers/PlainText.h"
#include "readers/ResultSource.h"

namespace tavrin {

namespace {

std::unique_ptr<ResultSource> sourceOf(ResultFormat format) {
  switch (format) {
    case ResultFormat::BinaryStream:
      return makeBinarySource();
    case ResultFormat::JsonTrace:
    case ResultFormat::NumberedJson:
      return makeJsonSource();
    case ResultFormat::Timeline:
      break;
  }
  return makeTimelineSource();
}

}  // namespace

std::uint32_t ResultSource::entityOf(std::string_view qualifiedName) {
  if (qualifiedName.empty()) return kNone;
  const auto [place, isNew] = entityPlaces_.try_emplace(qualifiedName, nextPlace(entities));
  if (isNew) entities.push_back({.qualifiedName = qualifiedName, .name = qualifiedName});
  return place->second;
}

MetricKind kindOfWord(std::string_view word) {
  const auto* const found = std::ranges::find(kMetricKinds, word);
  return static_cast<MetricKind>(
      std::min<std::ptrdiff_t>(found - kMetricKinds.begin(), kMetricKinds.size() - 1));
}

std::optional<double> clockOf(const Clock& known) {
  constexpr double kMicroseconds = 1e6;
  if (known.stop <= known.start || !(known.durationSec > 0.0)) return std::nullopt;
  const double mhz =
      static_cast<double>(known.stop - known.start) / (known.durationSec * kMicroseconds);
  // Clocks have whole numbers of MHz; the duration has seven digits, few of them if it is short.
  const double whole = std::round(mhz);
  if (whole < 1.0 || std::abs(mhz - whole) > whole * 1e-3) return std::nullopt;
  return whole;
}

ResultReader::ResultReader(std::vector<std::string> files) : names_(std::move(files)) {
  if (names_.empty()) throw ResultError("no file is given");
  start();
}

ResultReader::ResultReader(std::unique_ptr<ResultFile> first, std::vector<std::string> files)
    : names_(std::move(files)), file_(std::move(first)) {
  start();
}

ResultReader::~ResultReader() = default;

/// Does something with the file at hand; what is wrong with it is thrown, now and from then on.
template <typename Action>
bool ResultReader::guarded(const Action& action) {
  if (!fault_.empty()) throw ResultError(fault_);
  try {
    return action();
  } catch (const FormatError& fault) {
    fault_ = file_->name() + ": " + printable(fault.what());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::runtime_error& fault) {
    fault_ = fault.what();
  }
  throw ResultError(fault_);
}

void ResultReader::start() {
  guarded([this] {
    if (!file_) file_ = std::make_unique<ResultFile>(names_.front());
    nameAt_ = 1;
    format_ = file_->format();
    source_ = sourceOf(format_);
    source_->open(file_->stream());
    return true;
  });
}

void ResultReader::openNext() {
  file_ = std::make_unique<ResultFile>(names_[nameAt_++]);
  if (format_ == ResultFormat::JsonTrace || format_ == ResultFormat::Timeline) {
    throw std::runtime_error(file_->name() + ": only continuous runs have several files");
  }
  source_->open(file_->stream());
}

bool ResultReader::next(Point& point) {
  return guarded([&] {
    while (!isAtEnd_) {
      if (source_->next(point)) return true;
      isAtEnd_ = nameAt_ == names_.size();
      if (!isAtEnd_) openNext();
    }
    return false;
  });
}

std::size_t ResultReader::read(PointColumns& columns, std::size_t most) {
  std::size_t count = 0;
  Point point;
  for (; count < most && next(point); ++count) {
    columns.time.push_back(point.time);
    columns.duration.push_back(point.duration);
    columns.series.push_back(point.series);
    columns.value.push_back(point.value);
    columns.text.push_back(point.text);
  }
  return count;
}

Clock ResultReader::clock() const {
  return source_->clock();
}

std::vector<Fact> ResultReader::system() const {
  return source_->system();
}

std::vector<Fact> ResultReader::remarks() const {
  return source_->remarks();
}

const std::deque<Metric>& ResultReader::metrics() const {
  return source_->metrics;
}

const std::deque<Entity>& ResultReader::entities() const {
  return source_->entities;
}

const std::deque<Series>& ResultReader::series() const {
  return source_->series;
}

const std::deque<std::string_view>& ResultReader::texts() const {
  return source_->texts;
}

const std::deque<Task>& ResultReader::processes() const {
  return source_->processes;
}

const std::deque<Task>& ResultReader::threads() const {
  return source_->threads;
}

}  // namespace tavrin
