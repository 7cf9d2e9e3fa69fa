#include "readers/ZtbinReader.h"

#include <algorithm>
#include <cmath>

#include "formats/metric_kinds.h"
#include "readers/PlainText.h"

namespace ztbin {

namespace {

std::string numbered(const char* what, std::uint64_t number) {
  return std::string(what) + " " + std::to_string(number);
}

/// Records of one type stand together, in the order of the types.
void requireType(const ZtbinRecord& record, int lastType) {
  const int type = static_cast<int>(record.type());
  if (type < static_cast<int>(kRecordTypes) && type >= lastType) return;
  throw FormatError(record.offset(kTypeOffset),
                    "a record type from " + std::to_string(std::max(lastType, 0)) + " to 4",
                    numbered("type", static_cast<std::uint64_t>(type)));
}

/// Descriptions count their numbers up without a gap, over all files of the run.
void requireNext(const ZtbinRecord& record, std::size_t at, std::size_t known, const char* what) {
  const std::uint16_t number = record.u16(at);
  if (number == known + 1) return;
  throw FormatError(record.offset(at), numbered(what, known + 1), std::to_string(number));
}

}  // namespace

void ZtbinReader::readFile(std::istream& file, const PointSink& sink) {
  open(file);
  Point point;
  while (next(point)) sink(point);
}

void ZtbinReader::open(std::istream& file) {
  record_.emplace(file);
  startFile();
  while (nextRecord() && !isAtPoint_) readDescription(*record_);
}

bool ZtbinReader::next(Point& point) {
  if (!isAtPoint_ && !nextRecord()) return false;
  isAtPoint_ = false;
  point = readPoint(*record_);
  return true;
}

/// Returns false at the end of the file.
bool ZtbinReader::nextRecord() {
  ZtbinRecord& record = *record_;
  if (!record.next()) {
    if (!hasSystem_) throw FormatError(record.offset(), "a system record", "the end of the file");
    requireUses(record.offset());
    return false;
  }
  requireType(record, lastType_);
  const RecordType type = record.type();
  lastType_ = static_cast<int>(type);
  if ((type == RecordType::System) == hasSystem_ && type != RecordType::String) {
    throw FormatError(record.offset(), "exactly one system record before records of other types",
                      hasSystem_ ? "a second one" : numbered("type", static_cast<unsigned>(type)));
  }
  isAtPoint_ = type == RecordType::Point;
  return true;
}

void ZtbinReader::readDescription(const ZtbinRecord& record) {
  switch (record.type()) {
    case RecordType::String:
      readString(record);
      break;
    case RecordType::System:
      readSystem(record);
      hasSystem_ = true;
      break;
    case RecordType::Entity:
      readDescriptor(record);
      break;
    case RecordType::Metric:
      readMetric(record);
      break;
    case RecordType::Point:
      break;
  }
}

void ZtbinReader::startFile() {
  ++files_;
  isAtPoint_ = false;
  lastType_ = 0;
  hasSystem_ = false;
  isAnew_ = false;
  known_ = {.strings = strings_.size(), .descriptors = descriptors_.size()};
  newMetrics_.clear();
}

ZtbinReader::SeriesName ZtbinReader::nameOf(std::uint64_t series) const {
  const Descriptor& named = descriptor(static_cast<std::uint16_t>(series));
  return {static_cast<std::uint32_t>(series >> 32U),
          &text(static_cast<std::uint16_t>(series >> 16U)), &text(named.name), &text(named.text)};
}

void ZtbinReader::beginAnew() {
  isAnew_ = true;
  for (const auto& [series, time] : times_) earlierTimes_[nameOf(series)] = time;
  strings_.clear();
  stringUses_.clear();
  descriptors_.clear();
  descriptorUses_.clear();
  metrics_.clear();
  times_.clear();
  known_ = {};
}

/// A file brings nothing that it does not use: what nothing refers to was for records that are
/// gone.
void ZtbinReader::requireUses(std::uint64_t end) const {
  const auto require = [end](bool isUsed, const std::string& user) {
    if (!isUsed) throw FormatError(end, user, "the end of the file");
  };
  for (const std::uint32_t id : newMetrics_) {
    require(metrics_.at(id).points > 0, numbered("a point of metric", id));
  }
  for (std::size_t i = known_.descriptors; i < descriptors_.size(); ++i) {
    require(descriptorUses_[i], numbered("a record that refers to descriptor", i + 1));
  }
  for (std::size_t i = known_.strings; i < strings_.size(); ++i) {
    require(stringUses_[i],
            numbered("a record that refers to string", i + 1) + ", " + inQuotes(*strings_[i]));
  }
}

void ZtbinReader::readString(const ZtbinRecord& record) {
  namespace field = string_record;
  if (record.size() < field::kText) record.requireSize(field::kText, "string");
  const std::size_t length = record.size() - field::kText;
  if (files_ == 1 && strings_.empty() && record.u16(field::kIndex) > kFirstIndex) {
    throw FormatError(record.offset(field::kIndex), "string index 1, with which a run begins",
                      std::to_string(record.u16(field::kIndex)) + ", of a later file");
  }
  const bool isFirst = strings_.size() == known_.strings;
  if (isFirst && record.u16(field::kIndex) == kFirstIndex) beginAnew();
  requireNext(record, field::kIndex, strings_.size(), "string index");
  if (record.u8(field::kLowLength) != length % 256) {
    throw FormatError(record.offset(field::kLowLength),
                      "the low byte of the length " + std::to_string(length),
                      std::to_string(record.u8(field::kLowLength)));
  }
  if (record.u8(field::kPadding) != 0) {
    throw FormatError(record.offset(field::kPadding), "the byte 0",
                      std::to_string(record.u8(field::kPadding)));
  }
  strings_.push_back(&*texts_.insert(record.text(field::kText)).first);
  stringUses_.push_back(false);
}

void ZtbinReader::readSystem(const ZtbinRecord& record) {
  namespace field = system_record;
  record.requireSize(field::kSize, "system");
  if (strings_.empty()) {
    throw FormatError(record.offset(), "strings, with which a run begins",
                      "a system record, as in a later file");
  }
  const std::uint64_t start = record.u64(field::kStartTimestamp);
  if (files_ > 1 && start != system_.startTimestamp) {
    throw FormatError(record.offset(field::kStartTimestamp),
                      numbered("the collection start of the files before,", system_.startTimestamp),
                      std::to_string(start) + ", of another run");
  }
  const auto textAt = [&](std::size_t at) { return text(stringAt(record, at)); };
  system_ = {
      .startTimestamp = start,
      .stopTimestamp = record.u64(field::kStopTimestamp),
      .durationSec = record.f32(field::kDuration),
      .hfmFrequency = record.f32(field::kHfmFrequency),
      .lfmFrequency = record.f32(field::kLfmFrequency),
      .cpuFrequency = record.f32(field::kCpuFrequency),
      .busFrequency = record.f32(field::kBusFrequency),
      .platformId = record.u32(field::kPlatformId),
      .platformName = textAt(field::kPlatformName),
      .cpuName = textAt(field::kCpuName),
      .cpuNativeName = textAt(field::kCpuNativeName),
      .pchName = textAt(field::kPchName),
      .hostName = textAt(field::kHostName),
      .packages = record.u16(field::kPackages),
      .modules = record.u16(field::kModules),
      .cores = record.u16(field::kCores),
      .threads = record.u16(field::kThreads),
      .osType = textAt(field::kOsType),
      .osName = textAt(field::kOsName),
  };
  if (record.u16(field::kOsNameAgain) != record.u16(field::kOsName)) {
    throw FormatError(record.offset(field::kOsNameAgain),
                      numbered("once more the string index", record.u16(field::kOsName)),
                      std::to_string(record.u16(field::kOsNameAgain)));
  }
}

void ZtbinReader::readDescriptor(const ZtbinRecord& record) {
  namespace field = entity_record;
  record.requireSize(field::kSize, "descriptor");
  requireNext(record, field::kId, descriptors_.size(), "descriptor id");
  descriptors_.push_back({stringAt(record, field::kText), stringAt(record, field::kName)});
  descriptorUses_.push_back(false);
}

void ZtbinReader::readMetric(const ZtbinRecord& record) {
  namespace field = metric_record;
  if (record.size() < field::kFixedSize) record.requireSize(field::kFixedSize, "metric");
  record.requireSize(field::kFixedSize +
                         record.u16(field::kCombinations) * field::kCombinationSize +
                         record.u16(field::kValues) * field::kValueSize,
                     "metric");
  Metric metric{.feature = stringAt(record, field::kFeature),
                .name = stringAt(record, field::kName),
                .kind = stringAt(record, field::kKind)};
  if (std::ranges::find(kMetricKinds, text(metric.kind)) == kMetricKinds.end()) {
    throw FormatError(record.offset(field::kKind), "the index of a metric kind",
                      "that of " + inQuotes(text(metric.kind)));
  }
  readQuantity(record, metric);
  readTables(record, metric);
  const std::uint32_t id = record.u32(field::kId);
  if (!metrics_.emplace(id, std::move(metric)).second) {
    throw FormatError(record.offset(field::kId), "a new metric id",
                      std::to_string(id) + ", which is known");
  }
  newMetrics_.push_back(id);
}

void ZtbinReader::readQuantity(const ZtbinRecord& record, Metric& metric) {
  namespace field = metric_record;
  const std::uint16_t flag = record.u16(field::kHasQuantity);
  if (flag > 1) {
    throw FormatError(record.offset(field::kHasQuantity), "0 or 1", std::to_string(flag));
  }
  metric.hasQuantity = flag == 1;
  for (const std::size_t at : {field::kQuantity, field::kUnits}) {
    if (metric.hasQuantity) {
      stringAt(record, at);
    } else if (record.u16(at) != 0) {
      throw FormatError(record.offset(at), "0, there being no quantity yet",
                        std::to_string(record.u16(at)));
    }
  }
  metric.quantity = record.u16(field::kQuantity);
  metric.units = record.u16(field::kUnits);
}

void ZtbinReader::readTables(const ZtbinRecord& record, Metric& metric) {
  namespace field = metric_record;
  std::size_t at = field::kFixedSize;
  for (unsigned n = record.u16(field::kCombinations); n > 0; --n) {
    const Combination combination{record.u16(at), record.u16(at + 2)};
    if (combination.entity != 0) stringAt(record, at);
    if (combination.descriptor != 0) requireDescriptor(record, at + 2, combination.descriptor);
    metric.combinations.push_back(combination);
    at += field::kCombinationSize;
  }
  for (unsigned n = record.u16(field::kValues); n > 0; --n) {
    metric.values.push_back(stringAt(record, at));
    at += field::kValueSize;
  }
}

Point ZtbinReader::readPoint(const ZtbinRecord& record) {
  namespace field = point_record;
  record.requireSize(field::kSize, "point");
  const Point point{.timestamp = record.u64(field::kTimestamp),
                    .duration = record.f32(field::kDuration),
                    .metric = record.u32(field::kMetric),
                    .key = stringAt(record, field::kKey),
                    .descriptor = record.u16(field::kEntity),
                    .value = record.f32(field::kValue)};
  // Durations were whole numbers of 64 bits before they became reals.
  constexpr float kLongest = 18446744073709551616.0F;
  if (!(point.duration >= 0.0F && point.duration <= kLongest) ||
      std::trunc(point.duration) != point.duration) {
    throw FormatError(record.offset(field::kDuration), "a whole duration",
                      numberText(point.duration));
  }
  const auto metric = metrics_.find(point.metric);
  if (metric == metrics_.end()) {
    throw FormatError(record.offset(field::kMetric), "the id of a known metric",
                      std::to_string(point.metric));
  }
  requireDescriptor(record, field::kEntity, point.descriptor);
  requireOrder(record, point, metric->second);
  ++metric->second.points;
  return point;
}

/// The times of a series ascend.
void ZtbinReader::requireOrder(const ZtbinRecord& record, const Point& point,
                               const Metric& metric) {
  const std::uint64_t series =
      std::uint64_t{point.metric} << 32U | std::uint64_t{point.key} << 16U | point.descriptor;
  const auto [last, isNew] = times_.try_emplace(series, point.timestamp);
  if (isNew) {
    requireKey(record, metric);
    const auto earlier = earlierTimes_.find(nameOf(series));
    if (earlier != earlierTimes_.end()) last->second = earlier->second;
  }
  if (point.timestamp < last->second) {
    throw FormatError(record.offset(point_record::kTimestamp),
                      numbered("a time, as the series has had it, of", last->second) + " or later",
                      std::to_string(point.timestamp));
  }
  last->second = point.timestamp;
}

/// A key is the metric's name, and behind it that of what it is measured on.
void ZtbinReader::requireKey(const ZtbinRecord& record, const Metric& metric) const {
  const std::string& key = text(record.u16(point_record::kKey));
  const std::string& name = text(metric.name);
  if (key == name || key.starts_with(name + "/")) return;
  throw FormatError(record.offset(point_record::kKey),
                    "a key of " + inQuotes(name) + ", the point's metric", inQuotes(key));
}

std::uint16_t ZtbinReader::stringAt(const ZtbinRecord& record, std::size_t at) {
  const std::uint16_t index = record.u16(at);
  if (index != 0 && index <= strings_.size()) {
    stringUses_[index - 1U] = true;
    return index;
  }
  throw FormatError(record.offset(at),
                    "a string index from 1 to " + std::to_string(strings_.size()),
                    std::to_string(index));
}

void ZtbinReader::requireDescriptor(const ZtbinRecord& record, std::size_t at, std::uint16_t id) {
  if (id != 0 && id <= descriptors_.size()) {
    descriptorUses_[id - 1U] = true;
    return;
  }
  throw FormatError(record.offset(at),
                    "a descriptor id from 1 to " + std::to_string(descriptors_.size()),
                    std::to_string(id));
}

}  // namespace ztbin
