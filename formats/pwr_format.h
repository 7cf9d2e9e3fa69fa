#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The timeline file (".pwr"): numbers and names that its writer and its reader share. The format
/// is described in docs/formats/timeline.md.
///
/// All integers are little-endian and unaligned. Offsets count from the start of the record, widths
/// are in bytes.
namespace pwrfile {

/// No parent, no id.
constexpr std::uint64_t kNone = ~std::uint64_t{0};

// The header of the fixed records.
constexpr std::uint32_t kFixedMark = 0x02400000;
constexpr std::size_t kFixedLength = 4;      // u16: length of the record minus kFixedLengthLess
constexpr std::size_t kFixedLengthLess = 4;  //
constexpr std::size_t kFixedId = 6;          // u16: FixedRecord
constexpr std::size_t kFixedVersion = 8;     // u32: kFixedVersionValue
constexpr std::uint32_t kFixedVersionValue = 1;
constexpr std::size_t kFixedHeaderSize = 12;

enum class FixedRecord : std::uint16_t {
  Hardware = 18,
  CollectionInfo = 44,
  SystemInfo = 45,
  Frequency = 63,
};

namespace magic_record {
constexpr std::uint32_t kMark = 0x08000000;   // at 0
constexpr std::uint32_t kMagic = 0xADDEDEFA;  // at 4
constexpr std::size_t kSize = 8;
}  // namespace magic_record

namespace collection_record {
constexpr std::size_t kMajor = 12;     // u16: version of the collector
constexpr std::size_t kMinor = 14;     // u16
constexpr std::size_t kRevision = 16;  // u32
constexpr std::size_t kFlags = 20;     // u64
constexpr std::uint64_t kFlagsValue = std::uint64_t{1} << 43U;
constexpr std::size_t kNameLength = 28;  // u8
constexpr std::size_t kName = 29;        // not terminated
constexpr std::string_view kCollector = "power";
}  // namespace collection_record

namespace system_record {
constexpr std::size_t kArchitecture = 12;  // u16
constexpr std::size_t kOsVersion = 14;     // 4 * u16
constexpr std::size_t kStrings = 22;       // u16 length with terminator, bytes, NUL; four of them
constexpr std::size_t kStringCount = 4;    // host, platform, operating system, always empty
constexpr std::size_t kFixedSize = 34;     // besides the bytes of the strings
constexpr unsigned int kArchitectures = 7;
}  // namespace system_record

namespace hardware_record {
constexpr std::size_t kTscHz = 12;        // u64
constexpr std::size_t kCpuHz = 20;        // u64: the same again
constexpr std::size_t kAddressMask = 28;  // u64: kMask32 or kMask64
constexpr std::size_t kAddressBits = 36;  // u8: 32 or 64
constexpr std::size_t kCpuId = 37;        // 3 * u8
constexpr std::size_t kCpuCount = 40;     // u32
constexpr std::size_t kCpus = 44;         // kCpuSize each: u8 0, package, core, thread
constexpr std::size_t kCpuSize = 4;
constexpr std::uint64_t kMask32 = 0x80000000;
constexpr std::uint64_t kMask64 = ~std::uint64_t{0};
}  // namespace hardware_record

/// It has none of the other headers.
namespace start_record {
constexpr std::uint32_t kMark = 0x22000020;    // at 0
constexpr std::uint32_t kSecond = 0x02000020;  // at 4
constexpr std::uint8_t kThird = 2;             // at 8
constexpr std::size_t kStartTsc = 9;           // u64, ticks
constexpr std::size_t kStartTime = 17;         // u64: 100 ns since 1970 (UTC)
constexpr std::size_t kSize = 25;
}  // namespace start_record

namespace frequency_record {
constexpr std::size_t kKind = 12;  // u16: kKindValue; zeroes behind it
constexpr std::uint16_t kKindValue = 12;
constexpr std::size_t kCpuMhz = 62;  // u32
constexpr std::size_t kSize = 66;
}  // namespace frequency_record

// The header of the two kinds of records below.
constexpr std::uint32_t kDataMark = 0x02400010;  // at 0
constexpr std::size_t kDataTsc = 4;              // u64, ticks
constexpr std::size_t kDataLength = 12;          // u16: length of the record minus kDataLengthLess
constexpr std::size_t kDataLengthLess = 12;
constexpr std::size_t kDataKind = 14;     // u32: kZt2Kind or kInfoKind
constexpr std::size_t kDataVersion = 18;  // u16
constexpr std::size_t kDataHeaderSize = 20;
constexpr std::uint32_t kZt2Kind = 0x00060047;
constexpr std::uint32_t kInfoKind = 0x00070048;
constexpr std::uint16_t kLegacyVersion = 1;  // reals are truncated to integers
constexpr std::uint16_t kVersion = 2;

namespace zt2_record {
constexpr std::size_t kCount = 20;       // u16: number of attributes
constexpr std::size_t kAttributes = 22;  // kAttributeSize each: u32 type, u64 value
constexpr std::size_t kAttributeSize = 12;
constexpr std::size_t kMaxAttributes = 2048;
constexpr std::size_t kMaxSize = kAttributes + kMaxAttributes * kAttributeSize;
}  // namespace zt2_record

enum class AttributeType : std::uint32_t {
  Metric = 0,
  Entity = 1,
  Field = 2,
  Process = 3,
  Thread = 4,
  CallStackFrame = 5,
  Quantity = 6,
  Color = 7,
  Info = 8,
  Int = 9,
  UInt = 10,
  Real = 11,
  IntLowerBound = 12,
  IntUpperBound = 13,
  UIntLowerBound = 14,
  UIntUpperBound = 15,
  RealLowerBound = 16,
  RealUpperBound = 17,
  Duration = 18,
};
constexpr std::size_t kAttributeTypes = 19;

namespace info_record {
constexpr std::size_t kTypeId = 20;             // u32
constexpr std::size_t kValue = 24;              // u32
constexpr std::size_t kParent = 28;             // u32: all ones for none
constexpr std::size_t kId = 32;                 // u32
constexpr std::size_t kLongLength = 36;         // u16
constexpr std::size_t kShortLength = 38;        // u16
constexpr std::size_t kTypeNameLength = 40;     // u16
constexpr std::size_t kDescriptionLength = 42;  // u16
constexpr std::size_t kNames = 44;  // long name, short name, type name, description, one NUL
constexpr std::size_t kMaxNames = 400;
constexpr std::uint32_t kNoParent = 0xFFFFFFFF;
}  // namespace info_record

/// Names of the types of info records.
namespace info_type {
/// Describes the types themselves, and has the id 0.
constexpr std::string_view kInfoType = "info_type_info";
constexpr std::uint64_t kInfoTypeId = 0;
constexpr std::string_view kText = "nameid_attribute";
constexpr std::string_view kMetricType = "metric_type";
constexpr std::string_view kTabGroup = "tab_group";
constexpr std::string_view kTimelineGroup = "timeline_group";
constexpr std::string_view kQuantity = "quantity";
constexpr std::string_view kEntity = "entity";
constexpr std::string_view kField = "field";
constexpr std::string_view kColor = "color";
constexpr std::string_view kMetric = "metric";
constexpr std::string_view kState = "state";
constexpr std::string_view kProcess = "process";
constexpr std::string_view kThread = "thread";
// What a metric (the parent) refers to (the value).
constexpr std::string_view kMetricTypeOf = "metric_type_id";
constexpr std::string_view kTabGroupOf = "tab_group_id";
constexpr std::string_view kTimelineGroupOf = "timeline_group_id";
constexpr std::string_view kQuantityOf = "quantity_id";
constexpr std::string_view kFieldOf = "field_id";
}  // namespace info_type

/// The class of a metric: the value of its "metric_type_id".
enum class MetricClass : std::uint32_t {
  FiniteSetCounter = 4,
  Value = 5,
  FiniteSetValue = 6,
  TracedFiniteSet = 7,
  Counter = 8,
  TracedEvent = 9,
};

struct MetricClassName {
  MetricClass metricClass;
  std::string_view longName;
  std::string_view shortName;
};
constexpr std::array<MetricClassName, 6> kMetricClasses{{
    {MetricClass::FiniteSetCounter, "Sampled Finite Set Counter", "SFSC"},
    {MetricClass::Value, "Value", "Value"},
    {MetricClass::FiniteSetValue, "Sampled Finite Set Value", "SFSV"},
    {MetricClass::TracedFiniteSet, "Traced Finite Set Counter", "TFSC"},
    {MetricClass::Counter, "Sampled Counter", "Sampled Counter"},
    {MetricClass::TracedEvent, "Traced Event", "Traced Event"},
}};

}  // namespace pwrfile
