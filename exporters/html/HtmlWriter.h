#pragma once

#include <cstddef>
#include <string>

#include "exporters/html/PageRun.h"
#include "writers/common/RunWriter.h"

/// Writes the run as one page that any browser shows, without a network: "BASE.html". A run that
/// fits is stored as it is, a longer one in bins. The format: docs/formats/html.md.
///
/// Its option "--page-size=N" bounds the file to N bytes.
class HtmlWriter : public RunWriter<PageRun> {
 public:
  HtmlWriter();
  ~HtmlWriter() override;

  void handleBroadcastOption(const std::string& option) override;

 private:
  static constexpr std::size_t kUsualBytes = 3'000'000;
  std::size_t mostBytes_ = kUsualBytes;
};
