#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "readers/PwrRecord.h"

namespace pwrfile {

/// Where a logical CPU is, each number modulo 256.
struct Cpu {
  std::uint8_t package = 0;
  std::uint8_t core = 0;
  std::uint8_t thread = 0;  ///< of the core
};

/// What the fixed records at the start of a timeline file say.
struct System {
  std::uint16_t collectorMajor = 0;
  std::uint16_t collectorMinor = 0;
  std::uint32_t collectorRevision = 0;
  std::uint16_t architecture = 0;  ///< 0 to 6
  std::array<std::uint16_t, 4> osVersion{};
  std::string hostName;
  std::string platformName;
  std::string osName;
  std::uint32_t tscHz = 0;
  std::uint8_t addressBits = 0;
  std::array<std::uint8_t, 3> cpuId{};
  std::vector<Cpu> cpus;
  std::uint64_t startTsc = 0;   ///< start of the collection, ticks
  std::uint64_t startTime = 0;  ///< the same, 100 ns since 1970 (UTC)
  std::uint32_t cpuMhz = 0;
};

/// Name of a system's architecture, "unknown" for one that has no name.
const char* architectureName(std::uint16_t architecture);

/// Reads the six fixed records, with which a file begins. Throws FormatError.
System readFixedRecords(PwrRecord& record);

/// Throws FormatError unless the record's content is that of a magic record.
void checkMagic(const PwrRecord& record);

}  // namespace pwrfile
