#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace tavrin {

/// What became of the files at one destination, since the start.
struct ShipCounts {
  std::uint64_t files = 0;     ///< acknowledged, each time that it was
  std::uint64_t lines = 0;     ///< likewise
  std::uint64_t bytes = 0;     ///< of bodies that were acknowledged, as they were sent
  std::uint64_t rejected = 0;  ///< files that it refused
  std::uint64_t failed = 0;    ///< requests that were answered otherwise, or not at all
};

/// What is to be sent to it.
struct ShipLoad {
  std::size_t files = 0;   ///< not acknowledged
  double lagSec = 0.0;     ///< age of the oldest of them
  std::uint64_t lost = 0;  ///< files that the bound of the folder has taken, ever
};

/// Whose figures they are.
struct ShipPlace {
  std::string host;
  std::string folder;
};
ShipPlace shipPlace(const std::string& folder);

/// The figures as a line of the protocol, with its line break.
std::string statisticsLine(const ShipPlace& place, const ShipCounts& counts, const ShipLoad& load,
                           std::chrono::system_clock::time_point now);

/// The figures for people.
std::string summaryText(const ShipCounts& counts);

/// "1 file", "2 files".
std::string counted(std::uint64_t number, const std::string& thing);
/// "12.3 kB".
std::string bytesText(double bytes);
/// "350 ms", "12 s", "3 min", "5.2 h".
std::string timeText(double seconds);

}  // namespace tavrin
