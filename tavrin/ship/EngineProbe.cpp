#include "tavrin/ship/EngineProbe.h"

#include <optional>
#include <string_view>

#include "tavrin/common/PlainText.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr std::string_view kDedup = "-dedup.minScrapeInterval=";
constexpr std::string_view kWanted = "1ms";

/// VictoriaMetrics lists flags as lines of the kind -name="value".
bool isListOfFlags(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = trimmed(takeLine(text));
    if (line.empty()) continue;
    if (!line.starts_with('-') || line.find("=\"") == std::string_view::npos) return false;
    if (line.starts_with("-httpListenAddr") || line.starts_with("-storageDataPath") ||
        line.starts_with("-retentionPeriod") || line.starts_with("-dedup.")) {
      return true;
    }
  }
  return false;
}

std::optional<std::string> deduplicationOf(std::string_view text) {
  while (!text.empty()) {
    std::string_view line = trimmed(takeLine(text));
    if (!line.starts_with(kDedup)) continue;
    line.remove_prefix(kDedup.size());
    const auto isQuote = [](char letter) { return letter == '"'; };
    std::string value(line);
    std::erase_if(value, isQuote);
    return value;
  }
  return {};
}

}  // namespace

EngineRemarks engineRemarks(const Answer& flags, bool isCluster) {
  if (verdictOf(flags) != Verdict::Taken || !isListOfFlags(flags.words)) return {};
  EngineRemarks remarks{.note =
                            "this is VictoriaMetrics, which keeps milliseconds: points of one "
                            "series that share a millisecond are one there"};
  const auto value = deduplicationOf(flags.words);
  if (isCluster || value == kWanted) return remarks;
  remarks.warning = "it runs " +
                    (value ? "with -dedup.minScrapeInterval=" + escaped(*value)
                           : std::string("without -dedup.minScrapeInterval")) +
                    ": points that have to be sent twice count twice, or other ones are dropped; "
                    "it should be -dedup.minScrapeInterval=1ms";
  return remarks;
}

}  // namespace tavrin
