#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "writers/host/SystemMetadata.h"

/// What the timeline file tells about the system, in the units and widths of its records, as it was
/// when the system message came. Frequencies in Hz keep their low 32 bits; timestamps are in ticks.
struct SystemSnapshot {
  /// One logical CPU, each id cut to its low byte.
  struct Cpu {
    std::uint8_t package = 0;
    std::uint8_t core = 0;
    std::uint8_t thread = 0;  ///< counted within the core
  };

  static SystemSnapshot of(const pwr::SystemMetadata& metadata);

  // The version of the collector: major, minor, revision.
  std::uint16_t collectorField1 = 0;
  std::uint16_t collectorField2 = 0;
  std::uint16_t collectorField3 = 0;
  std::string platformName;
  std::string hostName;
  std::string osName;
  std::string osType;
  std::vector<Cpu> cpus;
  std::uint32_t cpuCount = 0;
  std::uint32_t osArchCode = 0;  ///< 0 to 2: 32 bits, ia64, x86_64 of one family; 3 to 5; 6: other
  std::array<std::uint16_t, 4> osVersion{};
  std::uint32_t tscHz = 0;
  std::uint32_t cpuHz = 0;  ///< that of the timestamp clock where the processor's is unknown
  std::array<std::uint32_t, 3> cpuId{};  ///< family, model, stepping
  std::uint64_t collectionStartTsc = 0;
  std::uint64_t collectionStopTsc = 0;
  std::uint64_t collectionValueDiv100 = 0;  ///< start of the collection: 100 ns since 1970 (UTC)
  std::uint64_t cpuMhz = 0;                 ///< 0 for unknown
};
