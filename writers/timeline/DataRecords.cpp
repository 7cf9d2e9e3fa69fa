#include "writers/timeline/DataRecords.h"

#include <bit>
#include <string_view>
#include <utility>

#include "writers/timeline/RecordBytes.h"

namespace {

using pwr::DataType;
using pwrfile::AttributeType;
namespace zt2 = pwrfile::zt2_record;

// Once per process, as analyzers are told about the kind of file and not about each one.
bool g_realNoteDone = false;
bool g_realRangeNoteDone = false;

constexpr std::array<const char*, pwrfile::kAttributeTypes> kTypeNames = {
    "METRIC          ", "ENTITY          ", "FIELD           ", "PROCESS         ",
    "THREAD          ", "CALL_STACK_FRAME", "QUANTITY        ", "COLOR           ",
    "INFO            ", "INT             ", "UINT            ", "REAL            ",
    "INT_LOWER_BOUND ", "INT_UPPER_BOUND ", "UINT_LOWER_BOUND", "UINT_UPPER_BOUND",
    "REAL_LOWER_BOUND", "REAL_UPPER_BOUND", "DURATION        "};

int refuseNoList() {
  TIMELINE_WARNING("Invalid attribute list.\n");
  return 1;
}

int refuseTooMany() {
  TIMELINE_WARNING("Maximum attribute count '%d' exceeded.\n",
                   static_cast<int>(AttributeList::kCapacity));
  return 1;
}

int refuseType() {
  TIMELINE_WARNING("Unsupported data type obtained.\n");
  return 1;
}

/// `what`: "integer value" or one of its bounds.
int addInt(AttributeType type, const char* what, long long value, AttributeList* list) {
  if (DataRecords::addAttribute(type, static_cast<std::uint64_t>(value), list) == 0) return 0;
  TIMELINE_WARNING("Unable to add %s '%lld' to the record.\n", what, value);
  return 1;
}

int addUInt(AttributeType type, const char* what, unsigned long long value, AttributeList* list) {
  if (DataRecords::addAttribute(type, value, list) == 0) return 0;
  TIMELINE_WARNING("Unable to add %s '%llu' to the record.\n", what, value);
  return 1;
}

bool isRange(DataType type) {
  return type == DataType::IntRange || type == DataType::UIntRange || type == DataType::RealRange;
}

}  // namespace

DataRecords::DataRecords(TimelineOutput& output, InfoRecords& infos, QuantityInfos& quantities,
                         bool legacy)
    : output_(output), infos_(infos), quantities_(quantities), legacy_(legacy) {}

int DataRecords::refuseAttribute_i(const AttributeList* list) {
  return list == nullptr ? refuseNoList() : refuseTooMany();
}

/// Looks at the first attribute of the process only, whatever it finds.
void DataRecords::noteManyAttributes_i(const AttributeList& list) {
  constexpr std::uint32_t kMany = 256;
  attributeNoteDone_ = true;
  if (list.count < kMany) return;
  PW_LOG(
      kTimelineLog, PW_LOG_NOTE,
      "Note: The generated .pwr result file can only be imported in Korvell(TM) 2018 Update 2 or "
      "later.\n");
}

void DataRecords::logAttribute_i(AttributeType type, std::uint64_t value,
                                 const AttributeList& list) {
  TIMELINE_DEBUG("Adding 'type: %s value: %llu' to record at [%d].\n",
                 kTypeNames.at(static_cast<std::size_t>(type)),
                 static_cast<unsigned long long>(value), static_cast<int>(list.count));
}

int DataRecords::addQuantity_i(const pwr::Quantity& quantity, AttributeList* list) {
  const std::uint64_t id = quantities_.idOf(&quantity);
  if (id == pwrfile::kNone) {
    TIMELINE_WARNING("Failed to handle quantity metadata uid:%llu'.\n", quantity.getId());
    return 1;
  }
  if (addAttribute(AttributeType::Quantity, id, list) == 0) return 0;
  TIMELINE_WARNING("Unable to add quantity attribute to the record.\n");
  return 1;
}

// The conversions of a value give it as it is and cannot fail.

int DataRecords::addValue_i(const pwr::Data& data, const pwr::Quantity* quantity,
                            AttributeList* list) {
  long long integer = 0;
  unsigned long long natural = 0;
  double real = 0.0;
  if (quantity != nullptr && addQuantity_i(*quantity, list) != 0) return 1;
  switch (data.getType()) {
    case DataType::Int:
      data.toInt(integer);
      return addInt(AttributeType::Int, "integer value", integer, list);
    case DataType::UInt:
      data.toUInt(natural);
      return addUInt(AttributeType::UInt, "unsigned integer value", natural, list);
    case DataType::Real:
      data.toReal(real);
      noteReals_i(g_realNoteDone);
      return addReal_i(AttributeType::Real, "real value", real, list);
    case DataType::IntRange:
    case DataType::UIntRange:
    case DataType::RealRange:
      return addRange_i(data, list);
    case DataType::String:
      return addString_i(data, list, nullptr);
    case DataType::None:
    case DataType::Handle:
      break;
  }
  return refuseType();
}

int DataRecords::addRange_i(const pwr::Data& data, AttributeList* list) {
  if (data.getType() == DataType::UIntRange) {
    pwr::Data::UIntPair naturals;
    data.toUIntRange(naturals);
    if (addUInt(AttributeType::UIntLowerBound, "lower bound unsigned integer value", naturals.first,
                list) != 0) {
      return 1;
    }
    return addUInt(AttributeType::UIntUpperBound, "upper bound unsigned integer value",
                   naturals.second, list);
  }
  if (data.getType() == DataType::IntRange) {
    pwr::Data::IntPair integers;
    data.toIntRange(integers);
    if (addInt(AttributeType::IntLowerBound, "lower bound integer value", integers.first, list) !=
        0) {
      return 1;
    }
    return addInt(AttributeType::IntUpperBound, "upper bound integer value", integers.second, list);
  }
  pwr::Data::RealPair reals;
  data.toRealRange(reals);
  if (addReal_i(AttributeType::RealLowerBound, "lower bound real value", reals.first, list) != 0 ||
      addReal_i(AttributeType::RealUpperBound, "upper bound real value", reals.second, list) != 0) {
    return 1;
  }
  noteReals_i(g_realRangeNoteDone);
  return 0;
}

int DataRecords::addReal_i(AttributeType type, const char* what, double value,
                           AttributeList* list) {
  if (addAttribute(type, encodeReal_i(what, value), list) == 0) return 0;
  TIMELINE_WARNING("Unable to add %s '%lf' to the record.\n", what, value);
  return 1;
}

std::uint64_t DataRecords::encodeReal_i(const char* what, double value) const {
  const std::uint64_t encoded =
      legacy_ ? truncatedReal(value) : std::bit_cast<std::uint64_t>(value);
  TIMELINE_DEBUG(
      "Adding %s '%lf' to the record. Encoded 64bit value: %llu, "
      "real value: %lf\n",
      what, value, static_cast<unsigned long long>(encoded),
      legacy_ ? static_cast<double>(encoded) : std::bit_cast<double>(encoded));
  return encoded;
}

void DataRecords::noteReals_i(bool& done) const {
  if (done || legacy_) return;
  done = true;
  PW_LOG(kTimelineLog, PW_LOG_NOTE,
         "The generated .pwr file can only be visualized in Korvell 2018 Update 3 or later\n");
}

int DataRecords::addString_i(const pwr::Data& data, AttributeList* list, std::string* outString) {
  std::string text;
  data.toString(text);
  if (outString != nullptr) {
    *outString = std::move(text);
    return 0;
  }
  if (addStringValue(text, list) == 0) return 0;
  TIMELINE_WARNING("Unable to process string value '%s'.\n", text.c_str());
  return 1;
}

/// A number or a range of numbers, with its unit.
int DataRecords::addAsText_i(const pwr::Data& data, const pwr::Quantity* quantity,
                             AttributeList* list, std::string* outString) {
  if (data.getType() == DataType::String) return addString_i(data, list, outString);
  if (!data.isNumeric() && !isRange(data.getType())) return refuseType();
  std::string text;
  data.toString(text);
  if (quantity != nullptr) text += "(" + quantity->toUnitsString() + ")";
  if (outString != nullptr) {
    *outString = std::move(text);
    return 0;
  }
  if (addStringValue(text, list) == 0) return 0;
  TIMELINE_WARNING("Unable to process value%s attribute as string'.\n",
                   isRange(data.getType()) ? " range" : "");
  return 1;
}

int DataRecords::addStringValue(const std::string& text, AttributeList* list) {
  if (list == nullptr) return refuseNoList();
  const std::uint64_t id = infos_.getTextId(text);
  if (id == pwrfile::kNone) return 1;
  return addAttribute(AttributeType::Info, id, list);
}

int DataRecords::writeZt2Record(std::uint64_t tsc, std::uint64_t streamKey, AttributeList* list) {
  if (list == nullptr) return refuseNoList();
  if (list->count > AttributeList::kCapacity) return refuseTooMany();
  const std::size_t size = list->end();
  if (list->isLogged) logRecord_i(tsc, streamKey, *list, size);

  std::byte* const start = list->record.data();
  putLittleEndian(start, pwrfile::kDataMark);
  putLittleEndian(start + pwrfile::kDataTsc, tsc);
  putLittleEndian(start + pwrfile::kDataLength,
                  static_cast<std::uint16_t>(size - pwrfile::kDataLengthLess));
  putLittleEndian(start + pwrfile::kDataKind, pwrfile::kZt2Kind);
  putLittleEndian(start + pwrfile::kDataVersion,
                  legacy_ ? pwrfile::kLegacyVersion : pwrfile::kVersion);
  putLittleEndian(start + zt2::kCount, static_cast<std::uint16_t>(list->count));
  return output_.writeData(streamKey, start, size);
}

void DataRecords::logRecord_i(std::uint64_t tsc, std::uint64_t streamKey, const AttributeList& list,
                              std::size_t size) const {
  TIMELINE_DEBUG("Writing ZT2 record. Metric: %s. TSC: %llu.\n", output_.nameOf(streamKey).c_str(),
                 static_cast<unsigned long long>(tsc));
  for (std::uint32_t i = 0; i < list.count; ++i) {
    TIMELINE_DEBUG("\tType: %s Value: %llu\n", kTypeNames.at(list.typeAt(i)),
                   static_cast<unsigned long long>(list.valueAt(i)));
  }
  TIMELINE_DEBUG("Size of zt2 record is: %lu bytes.\n", static_cast<unsigned long>(size));
}
