#pragma once

#include <cstddef>
#include <cstdint>

/// The binary stream (".ztbin"): numbers that its writer and its reader share. The format is
/// described in docs/formats/binary-stream.md.
///
/// All integers are little-endian, reals are IEEE-754 binary32. A record is a header (u16 number of
/// bytes after the header, u8 type) and a body. Offsets below count from the start of the record,
/// widths are in bytes.
namespace ztbin {

enum class RecordType : std::uint8_t { String = 0, System = 1, Entity = 2, Metric = 3, Point = 4 };
constexpr std::size_t kRecordTypes = 5;

constexpr std::size_t kHeaderSize = 3;
constexpr std::size_t kTypeOffset = 2;
constexpr std::size_t kMaxBody = 0xFFFF;

// The first index and the first id that are given; 0 stands for none.
constexpr std::uint16_t kFirstIndex = 1;
constexpr std::uint16_t kLastIndex = 0xFFFF;

namespace string_record {
constexpr std::size_t kIndex = 3;         // u16
constexpr std::size_t kLowLength = 5;     // u8: the length modulo 256
constexpr std::size_t kPadding = 6;       // u8: always 0
constexpr std::size_t kText = 7;          // the string, not terminated
constexpr std::size_t kBodyOverhead = 4;  // what a body has besides the string
constexpr std::size_t kMaxLength = kMaxBody - kBodyOverhead;
}  // namespace string_record

namespace system_record {
constexpr std::size_t kStartTimestamp = 3;  // u64, ticks
constexpr std::size_t kStopTimestamp = 11;  // u64, ticks
constexpr std::size_t kDuration = 19;       // f32, seconds
constexpr std::size_t kHfmFrequency = 23;   // f32, MHz, as those that follow
constexpr std::size_t kLfmFrequency = 27;   // f32
constexpr std::size_t kCpuFrequency = 31;   // f32
constexpr std::size_t kBusFrequency = 35;   // f32
constexpr std::size_t kPlatformId = 39;     // u32
constexpr std::size_t kPlatformName = 43;   // u16: index of a string
constexpr std::size_t kCpuName = 45;        // u16: index of a string
constexpr std::size_t kCpuNativeName = 47;  // u16: index of a string
constexpr std::size_t kPchName = 49;        // u16: index of a string
constexpr std::size_t kHostName = 51;       // u16: index of a string
constexpr std::size_t kPackages = 53;       // u16
constexpr std::size_t kModules = 55;        // u16
constexpr std::size_t kCores = 57;          // u16
constexpr std::size_t kThreads = 59;        // u16
constexpr std::size_t kOsType = 61;         // u16: index of a string
constexpr std::size_t kOsName = 63;         // u16: index of a string
constexpr std::size_t kOsNameAgain = 65;    // u16: index of a string
constexpr std::size_t kSize = 67;
}  // namespace system_record

namespace entity_record {
constexpr std::size_t kId = 3;    // u16
constexpr std::size_t kText = 5;  // u16: index of the descriptor's attribute text
constexpr std::size_t kName = 7;  // u16: index of the descriptor's name
constexpr std::size_t kSize = 9;
}  // namespace entity_record

namespace metric_record {
constexpr std::size_t kId = 3;             // u32
constexpr std::size_t kFeature = 7;        // u16: index of a string
constexpr std::size_t kName = 9;           // u16: index of a string
constexpr std::size_t kKind = 11;          // u16: index of a string
constexpr std::size_t kQuantity = 13;      // u16: index of a string
constexpr std::size_t kUnits = 15;         // u16: index of a string
constexpr std::size_t kHasQuantity = 17;   // u16: 0 or 1
constexpr std::size_t kCombinations = 19;  // u16: entries of the first table
constexpr std::size_t kValues = 21;        // u16: entries of the second table
constexpr std::size_t kFixedSize = 23;
// Each entry of the first table, u32: low half the index of the entity's name, high half the id of
// the descriptor. Each entry of the second, u16: the index of the value's text.
constexpr std::size_t kCombinationSize = 4;
constexpr std::size_t kValueSize = 2;
constexpr std::size_t kMaxTables = kMaxBody - (kFixedSize - kHeaderSize);
}  // namespace metric_record

namespace point_record {
constexpr std::size_t kTimestamp = 3;  // u64, ticks
constexpr std::size_t kDuration = 11;  // f32
constexpr std::size_t kMetric = 15;    // u32: id of the metric
constexpr std::size_t kKey = 19;       // u16: index of the key text
constexpr std::size_t kEntity = 21;    // u16: id of the descriptor
constexpr std::size_t kValue = 23;     // f32
constexpr std::size_t kSize = 27;
}  // namespace point_record

}  // namespace ztbin
