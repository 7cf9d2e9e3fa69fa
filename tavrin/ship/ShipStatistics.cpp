#include "tavrin/ship/ShipStatistics.h"

#include <unistd.h>

#include <array>
#include <utility>

#include "hostcommon/NumberText.h"
#include "hostcommon/SeriesNames.h"
#include "hostcommon/Utf8Path.h"

namespace tavrin {

namespace {

std::string withDecimals(double value, int decimals) {
  std::string text;
  pwr::appendFixed(text, value, decimals);
  return text;
}

}  // namespace

ShipPlace shipPlace(const std::string& folder) {
  std::array<char, 256> host{};
  gethostname(host.data(), host.size() - 1);
  return {.host = host.data(), .folder = pwr::absolutePath(folder)};
}

std::string statisticsLine(const ShipPlace& place, const ShipCounts& counts, const ShipLoad& load,
                           std::chrono::system_clock::time_point now) {
  const std::pair<const char*, std::uint64_t> fields[] = {
      {"sent_bytes", counts.bytes},       {"sent_files", counts.files},
      {"sent_lines", counts.lines},       {"waiting_files", load.files},
      {"lost_files", load.lost},          {"rejected_files", counts.rejected},
      {"failed_requests", counts.failed},
  };
  std::string line = "tavrin_ship";
  pwr::appendTag(line, "host", place.host);
  pwr::appendTag(line, "folder", place.folder);
  line += " lag_seconds=" + withDecimals(load.lagSec, 3);
  for (const auto& [name, value] : fields) {
    line.append(",").append(name).append("=").append(std::to_string(value));
  }
  const auto time = std::chrono::duration_cast<std::chrono::nanoseconds>(now.time_since_epoch());
  return line + " " + std::to_string(time.count()) + "\n";
}

std::string summaryText(const ShipCounts& counts) {
  return counted(counts.files, "file") + ", " + counted(counts.lines, "line") + " in " +
         bytesText(static_cast<double>(counts.bytes)) + "; " + counted(counts.rejected, "file") +
         " refused, " + counted(counts.failed, "failed request");
}

std::string counted(std::uint64_t number, const std::string& thing) {
  return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

std::string bytesText(double bytes) {
  constexpr std::array<const char*, 4> kUnits{"B", "kB", "MB", "GB"};
  std::size_t unit = 0;
  for (; bytes >= 1000.0 && unit + 1 < kUnits.size(); ++unit) bytes /= 1000.0;
  return withDecimals(bytes, unit == 0 ? 0 : 1) + " " + kUnits.at(unit);
}

std::string timeText(double seconds) {
  if (seconds < 1.0) return withDecimals(seconds * 1e3, 0) + " ms";
  if (seconds < 120.0) return withDecimals(seconds, 0) + " s";
  if (seconds < 7200.0) return withDecimals(seconds / 60.0, 0) + " min";
  return withDecimals(seconds / 3600.0, 1) + " h";
}

}  // namespace tavrin
