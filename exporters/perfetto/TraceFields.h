#pragma once

#include <cstdint>

// Numbers of the fields and values of Perfetto's trace format that this writer uses, as its public
// descriptions (protos/perfetto/trace) have them. Which of them stand where: docs/formats/
// perfetto.md.

namespace pftrace {

/// The type of field numbers.
using Field = std::uint32_t;

namespace trace {
inline constexpr Field kPacket = 1;
}

namespace packet {
inline constexpr Field kFtraceEvents = 1;
inline constexpr Field kClockSnapshot = 6;
inline constexpr Field kTimestamp = 8;
inline constexpr Field kSequenceId = 10;
inline constexpr Field kTrackEvent = 11;
inline constexpr Field kInternedData = 12;
inline constexpr Field kSequenceFlags = 13;
inline constexpr Field kDefaults = 59;
inline constexpr Field kTrackDescriptor = 60;
inline constexpr Field kFirstOnSequence = 87;

inline constexpr std::uint32_t kStateCleared = 1;  // a sequence flag
inline constexpr std::uint32_t kNeedsState = 2;    // a sequence flag
}  // namespace packet

/// Defaults of the packets of a sequence.
namespace defaults {
inline constexpr Field kTrackEventDefaults = 11;
inline constexpr Field kTimestampClockId = 58;
inline constexpr Field kTrackUuid = 11;  // of the track event defaults
}  // namespace defaults

namespace clock_snapshot {
inline constexpr Field kClocks = 1;
inline constexpr Field kPrimaryTraceClock = 2;
inline constexpr Field kClockId = 1;    // of a clock
inline constexpr Field kTimestamp = 2;  // of a clock

inline constexpr std::uint32_t kRealtime = 1;
inline constexpr std::uint32_t kMonotonicRaw = 5;
}  // namespace clock_snapshot

namespace track {
inline constexpr Field kUuid = 1;
inline constexpr Field kName = 2;
inline constexpr Field kProcess = 3;
inline constexpr Field kThread = 4;
inline constexpr Field kParentUuid = 5;
inline constexpr Field kCounter = 8;
inline constexpr Field kChildOrdering = 11;
inline constexpr Field kSiblingOrderRank = 12;
inline constexpr Field kSiblingMergeBehavior = 15;
inline constexpr Field kProcessOrdering = 19;

inline constexpr std::int32_t kExplicitOrder = 3;         // of children
inline constexpr std::int32_t kExplicitProcessOrder = 1;  // of processes
inline constexpr std::int32_t kNeverMerged = 2;           // with siblings of the same name
}  // namespace track

namespace process {
inline constexpr Field kPid = 1;
inline constexpr Field kCommandLine = 2;
inline constexpr Field kName = 6;
inline constexpr Field kStartTimestamp = 7;
}  // namespace process

namespace thread {
inline constexpr Field kPid = 1;
inline constexpr Field kTid = 2;
inline constexpr Field kName = 5;
}  // namespace thread

namespace counter {
inline constexpr Field kUnit = 3;
inline constexpr Field kUnitName = 6;

inline constexpr std::int32_t kTimeNs = 1;
inline constexpr std::int32_t kCount = 2;
}  // namespace counter

namespace event {
inline constexpr Field kAnnotations = 4;
inline constexpr Field kType = 9;
inline constexpr Field kNameId = 10;
inline constexpr Field kCounterValue = 30;
inline constexpr Field kDoubleCounterValue = 44;

enum class Type : std::uint8_t { SliceBegin = 1, SliceEnd = 2, Instant = 3, Counter = 4 };
}  // namespace event

namespace annotation {
inline constexpr Field kNameId = 1;
inline constexpr Field kUIntValue = 3;
inline constexpr Field kIntValue = 4;
inline constexpr Field kDoubleValue = 5;
inline constexpr Field kStringValue = 6;
}  // namespace annotation

namespace interned {
inline constexpr Field kEventNames = 2;
inline constexpr Field kAnnotationNames = 3;
inline constexpr Field kId = 1;    // of a name
inline constexpr Field kName = 2;  // of a name
}  // namespace interned

namespace bundle {
inline constexpr Field kCpu = 1;
inline constexpr Field kEvent = 2;
inline constexpr Field kLostEvents = 3;
inline constexpr Field kClock = 5;

inline constexpr std::int32_t kMonotonicRaw = 4;
}  // namespace bundle

/// An event of the kernel in a bundle.
namespace kernel {
inline constexpr Field kTimestamp = 1;
inline constexpr Field kPid = 2;
inline constexpr Field kSchedSwitch = 4;
inline constexpr Field kCpuFrequency = 11;
inline constexpr Field kCpuIdle = 13;

namespace sched_switch {
inline constexpr Field kPrevComm = 1;
inline constexpr Field kPrevPid = 2;
inline constexpr Field kPrevState = 4;
inline constexpr Field kNextComm = 5;
inline constexpr Field kNextPid = 6;

inline constexpr std::int64_t kRunnable = 0;
inline constexpr std::int64_t kSleeping = 1;
}  // namespace sched_switch

/// Of changes of idle states and of frequencies.
namespace power {
inline constexpr Field kState = 1;
inline constexpr Field kCpu = 2;

inline constexpr std::uint32_t kNotIdle = 4294967295U;
}  // namespace power
}  // namespace kernel

}  // namespace pftrace
