#include "exporters/lines/LinesWriter.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "writers/common/TextLog.h"
#include "writers/host/PluginCapability.h"

namespace {

/// The number behind "NAME="; nothing when that is no number, or the option has another name.
std::optional<std::uint64_t> numberOf(std::string_view option, std::string_view name) {
  if (!option.starts_with(name)) return std::nullopt;
  option.remove_prefix(name.size());
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(option.data(), option.data() + option.size(), number);
  if (error != std::errc() || end != option.data() + option.size()) return std::nullopt;
  return number;
}

}  // namespace

LinesWriter::LinesWriter()
    : RunWriter("e2b6c4f8-1d7a-4c35-8a90-6f3b5d21c7e4",
                new pwr::WriterPluginCapability({}, "lines",
                                                "Write line protocol (.lp.gz) for time series "
                                                "engines such as InfluxDB and VictoriaMetrics",
                                                lines::kEnding, true),
                kPlainLog, [this](const std::string& baseName, bool continuous) {
                  return lines::LinesRun::open(baseName, continuous, options_);
                }) {}

void LinesWriter::handleBroadcastOption(const std::string& option) {
  if (const auto start = numberOf(option, "--start-time=")) options_.startNs = *start;
  if (const auto most = numberOf(option, "--series-limit=")) options_.mostSeries = *most;
}
