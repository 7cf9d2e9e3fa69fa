#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tavrin/decoding/EventFormat.h"
#include "tavrin/decoding/RingPage.h"

namespace tavrin {

/// The pages of one CPU in a recording.
struct RecordedCpu {
  unsigned int cpu = 0;
  std::uint64_t offset = 0;  ///< in the file
  std::uint64_t size = 0;    ///< as it is in the file
};

/// A trace buffer of the kernel: that of all, or one of an instance.
struct RecordedBuffer {
  std::string name;   ///< empty for that of all
  std::string clock;  ///< empty where the recording does not tell
  std::uint32_t pageSize = 0;
  bool isPacked = false;
  std::vector<RecordedCpu> cpus;
};

/// A virtual machine that was traced too, into a recording of its own.
struct RecordedGuest {
  std::string name;
  std::uint64_t traceId = 0;
  std::uint32_t cpus = 0;
};

/// The system of the events that tracers and marks make.
inline constexpr const char* kTracerSystem = "ftrace";

/// An event that a recording describes.
struct RecordedFormat {
  std::string system;
  EventFormat format;
};

/// What the times in the pages are multiplied with and shifted by to get nanoseconds.
struct RecordedScale {
  std::uint32_t factor = 1;
  std::uint32_t shift = 0;
};

/// Everything that a kernel recording (trace-cmd.dat.v6(5), trace-cmd.dat.v7(5)) tells but its
/// events.
struct Recording {
  int version = 0;
  ByteOrder order{};
  std::size_t longSize = 8;  ///< of the kernel
  std::uint32_t pageSize = 0;
  std::string packing;  ///< the name of what packs sections and pages, or "none"

  std::vector<RecordedFormat> formats;
  std::vector<RecordedBuffer> buffers;
  std::map<std::uint64_t, std::string> printFormats;  ///< texts that events have by their addresses
  std::map<int, std::string> taskNames;
  std::uint64_t symbols = 0;  ///< where the kernel's symbols are in the file; 0: not there

  std::uint32_t cpus = 0;  ///< of the machine; 0: not told
  std::string clock;
  std::string machine;  ///< system, host, kernel and architecture in one line
  std::string tool;     ///< what has recorded, with its version
  std::optional<std::uint64_t> traceId;
  std::vector<std::string> hooks;
  std::vector<RecordedGuest> guests;
  std::optional<RecordedScale> scale;
  long long timeOffset = 0;    ///< nanoseconds to be added
  bool hasTimeOfDay = false;   ///< with the offset, times are those since 1970
  bool hasTimeShifts = false;  ///< those of a guest against its host, which are not applied
  std::string fault;           ///< where and how it is damaged first; else empty

  /// Of several faults the first one counts.
  void addFault(const std::string& found) {
    if (fault.empty()) fault = found;
  }
};

}  // namespace tavrin
