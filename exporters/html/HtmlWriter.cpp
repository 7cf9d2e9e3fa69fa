#include "exporters/html/HtmlWriter.h"

#include <charconv>
#include <memory>
#include <string_view>

#include "writers/common/TextLog.h"
#include "writers/host/PluginCapability.h"

HtmlWriter::HtmlWriter()
    : RunWriter(
          "7d1f6a52-93c4-4f0e-8a6b-5c2e90b7d143",
          new pwr::WriterPluginCapability({pwr::TableClass::Summary, pwr::TableClass::Detail},
                                          "html",
                                          "Write one page that shows the run in a browser, "
                                          "without a network",
                                          ".html", false),
          kPlainLog,
          [this](const std::string& baseName, bool /*continuous*/) -> std::unique_ptr<PageRun> {
            auto run = std::make_unique<PageRun>(mostBytes_);
            return run->open(baseName) ? std::move(run) : nullptr;
          }) {}

HtmlWriter::~HtmlWriter() = default;

void HtmlWriter::handleBroadcastOption(const std::string& option) {
  constexpr std::string_view kPageSize = "--page-size=";
  if (!option.starts_with(kPageSize)) return;
  const std::string_view text = std::string_view(option).substr(kPageSize.size());
  std::size_t bytes = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
  if (error == std::errc() && end == text.data() + text.size() && bytes > 0) mostBytes_ = bytes;
}
