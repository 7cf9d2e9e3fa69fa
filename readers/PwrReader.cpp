#include "readers/PwrReader.h"

#include <array>
#include <bit>

namespace pwrfile {

namespace {

constexpr std::size_t kIdWidth = 4;  // of an attribute's type, before its value

/// Attributes stand in the order of their ranks, each rank at most once. An upper bound has none:
/// it follows its lower bound and nothing else.
enum Rank : int {
  kMetricRank,
  kEntityRank,
  kFieldRank,
  kProcessRank,
  kThreadRank,
  kQuantityRank,
  kValueRank,
  kColorRank,
  kInfoRank,  // any number of them
  kDurationRank,
  kNoRank,
};

struct AttributeRule {
  const char* name;
  Rank rank;
  bool isReference = false;
  InfoType type = InfoType::Type;  // what a reference leads to
};

/// In the order of AttributeType.
constexpr std::array<AttributeRule, kAttributeTypes> kAttributeRules{{
    {"METRIC", kMetricRank, true, InfoType::Metric},
    {"ENTITY", kEntityRank, true, InfoType::Entity},
    {"FIELD", kFieldRank, true, InfoType::Field},
    {"PROCESS", kProcessRank, true, InfoType::Process},
    {"THREAD", kThreadRank, true, InfoType::Thread},
    {"CALL_STACK_FRAME", kNoRank},  // no info type describes one
    {"QUANTITY", kQuantityRank, true, InfoType::Quantity},
    {"COLOR", kColorRank, true, InfoType::Color},
    {"INFO", kInfoRank, true, InfoType::Text},
    {"INT", kValueRank},
    {"UINT", kValueRank},
    {"REAL", kValueRank},
    {"INT_LOWER_BOUND", kValueRank},
    {"INT_UPPER_BOUND", kNoRank},
    {"UINT_LOWER_BOUND", kValueRank},
    {"UINT_UPPER_BOUND", kNoRank},
    {"REAL_LOWER_BOUND", kValueRank},
    {"REAL_UPPER_BOUND", kNoRank},
    {"DURATION", kDurationRank},
}};

const AttributeRule& ruleOf(AttributeType type) {
  return kAttributeRules[static_cast<std::size_t>(type)];
}

bool isLowerBound(AttributeType type) {
  return type == AttributeType::IntLowerBound || type == AttributeType::UIntLowerBound ||
         type == AttributeType::RealLowerBound;
}

AttributeType upperBoundOf(AttributeType lower) {
  return static_cast<AttributeType>(static_cast<std::uint32_t>(lower) + 1);
}

std::size_t placeOf(std::size_t index) {
  return zt2_record::kAttributes + index * zt2_record::kAttributeSize;
}

/// Follows the order of a record's attributes.
class AttributeOrder {
 public:
  explicit AttributeOrder(const PwrRecord& record) : record_(record) {}

  void add(AttributeType type, std::size_t at) {
    if (isFirst_) {
      if (type != AttributeType::Metric) fail(at, "METRIC", type);
      rank_ = kMetricRank;
    } else if (isLowerBound(last_)) {
      if (type != upperBoundOf(last_)) fail(at, ruleOf(upperBoundOf(last_)).name, type);
    } else {
      const Rank rank = rankOf(type);
      const bool mayFollow = rank > rank_ || (rank == kInfoRank && rank_ == kInfoRank);
      if (rank == kNoRank || !mayFollow) {
        fail(at, std::string("an attribute that may follow ") + ruleOf(last_).name, type);
      }
      rank_ = rank;
      hasValue_ = hasValue_ || rank == kValueRank;
    }
    isFirst_ = false;
    last_ = type;
  }

  void finish() const {
    if (isLowerBound(last_)) {
      record_.fail(record_.size(), ruleOf(upperBoundOf(last_)).name, "the end of the record");
    }
    if (!hasValue_) record_.fail(0, "a data record with a value or a text", "one without");
  }

 private:
  /// A text takes the place of the value where there is no other.
  Rank rankOf(AttributeType type) const {
    return type == AttributeType::Info && rank_ < kValueRank ? kValueRank : ruleOf(type).rank;
  }
  [[noreturn]] void fail(std::size_t at, const std::string& expected, AttributeType type) const {
    record_.fail(at, expected, ruleOf(type).name);
  }

  const PwrRecord& record_;
  bool isFirst_ = true;
  AttributeType last_ = AttributeType::Metric;
  Rank rank_ = kMetricRank;
  bool hasValue_ = false;
};

}  // namespace

const char* attributeName(AttributeType type) {
  return ruleOf(type).name;
}

bool isReference(AttributeType type) {
  return ruleOf(type).isReference;
}

double PwrReader::real(std::uint64_t value) const {
  return version_ == kLegacyVersion ? static_cast<double>(static_cast<std::int64_t>(value))
                                    : std::bit_cast<double>(value);
}

void PwrReader::readFile(std::istream& file, PwrSink& sink) {
  open(file, sink);
  while (const std::optional<DataRecord> record = next()) sink.data(*record);
}

void PwrReader::open(std::istream& file, PwrSink& sink) {
  PwrRecord& record = record_.emplace(file);
  system_ = readFixedRecords(record);
  sink.system(system_);
  readMetadata(record, sink);
  sink.endOfMetadata();
}

std::optional<DataRecord> PwrReader::next() {
  PwrRecord& record = *record_;
  if (!record.next()) return std::nullopt;
  if (record.frame() != Frame::Data) record.fail(0, "a data record", "another record");
  record.expectMark(kDataKind, kZt2Kind, record.u32(kDataKind), "the kind of data records");
  checkVersion(record);
  return readData(record);
}

/// Up to the magic record that ends the metadata.
void PwrReader::readMetadata(PwrRecord& record, PwrSink& sink) {
  constexpr const char* kExpected = "an info record or a magic record";
  while (record.next()) {
    if (record.frame() == Frame::Magic) {
      checkMagic(record);
      return;
    }
    if (record.frame() != Frame::Data) record.fail(0, kExpected, "another record");
    record.expectMark(kDataKind, kInfoKind, record.u32(kDataKind), "the kind of info records");
    checkVersion(record);
    sink.info(infos_.add(record));
  }
  record.fail(0, kExpected, "the end of the file");
}

void PwrReader::checkVersion(const PwrRecord& record) {
  const std::uint16_t version = record.u16(kDataVersion);
  record.require(version == kLegacyVersion || version == kVersion, kDataVersion, "version 1 or 2",
                 version);
  if (version_ == 0) version_ = version;
  record.expect(kDataVersion, version_, version, "the version");
}

DataRecord PwrReader::readData(const PwrRecord& record) {
  const std::uint64_t tsc = record.u64(kDataTsc);
  record.require(tsc >= system_.startTsc, kDataTsc,
                 "a time that is not before the collection's start", tsc);
  readAttributes(record);
  checkReferences(record);
  if (metric_ == nullptr || metric_->id != attributes_.front().value) beginMetric(record);
  return DataRecord{tsc, *metric_, attributes_};
}

void PwrReader::readAttributes(const PwrRecord& record) {
  namespace field = zt2_record;
  if (record.size() < field::kAttributes) record.expectSize(field::kAttributes, "a data record");
  const std::size_t count = record.u16(field::kCount);
  record.require(count >= 1 && count <= field::kMaxAttributes, field::kCount,
                 "from 1 to 2048 attributes", count);
  record.expectSize(placeOf(count), "a data record");
  attributes_.clear();
  AttributeOrder order(record);
  for (std::size_t at = field::kAttributes; at < record.size(); at += field::kAttributeSize) {
    const std::uint32_t code = record.u32(at);
    record.require(code < kAttributeTypes, at, "an attribute type from 0 to 18", code);
    const auto type = static_cast<AttributeType>(code);
    order.add(type, at);
    attributes_.push_back({type, record.u64(at + kIdWidth)});
  }
  order.finish();
}

void PwrReader::checkReferences(const PwrRecord& record) const {
  for (std::size_t i = 0; i < attributes_.size(); ++i) {
    const auto& [type, value] = attributes_[i];
    if (!isReference(type)) continue;
    infos_.require(record, placeOf(i) + kIdWidth, value, ruleOf(type).type);
  }
}

/// The records of a metric stand together, in the order of the metrics' numbers.
void PwrReader::beginMetric(const PwrRecord& record) {
  constexpr std::size_t kPlace = zt2_record::kAttributes + kIdWidth;
  const Info& metric = *infos_.find(attributes_.front().value);
  if (metric_ != nullptr && metric.value <= metric_->value) {
    record.fail(kPlace,
                "a metric with a number above " + std::to_string(metric_->value) +
                    ", whose records came before",
                std::to_string(metric.id) + " with number " + std::to_string(metric.value));
  }
  if (infos_.classOf(metric) == nullptr ||
      infos_.relationOf(metric, InfoType::TabGroupOf) == nullptr ||
      infos_.relationOf(metric, InfoType::TimelineGroupOf) == nullptr) {
    record.fail(kPlace, "a metric that has a class, a tab group and a timeline group",
                std::to_string(metric.id) + " without");
  }
  metric_ = &metric;
}

}  // namespace pwrfile
