#include "tavrin/common/Messages.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "hostcommon/FileLogger.h"
#include "tavrin/common/PlainText.h"
#include "tavrin/common/Terminal.h"
#include "writers/host/PluginEnvironment.h"

namespace tavrin {

namespace {

std::atomic<bool> g_progressShown{false};

void clearProgress() {
  if (!g_progressShown.exchange(false)) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
}

/// One line at a time, below which the progress starts anew.
class LineLogger : public pwr::FileLogger {
 public:
  LineLogger() : FileLogger(stderr, false) {}

  void log(PWLogLevel /*level*/, const char* line) override {
    std::string_view text(line);
    if (text.ends_with('\n')) text.remove_suffix(1);
    clearProgress();
    const std::string shown = escaped(text) + "\n";
    write(shown.data(), shown.size());
  }
};

}  // namespace

void logToStandardError() {
  const auto logger = std::make_shared<LineLogger>();
  g_pluginEnvironment->setSinks(logger, logger);
}

Progress::Progress(bool enabled) : enabled_(enabled && isCapableTerminal(stderr)) {}
Progress::~Progress() {
  clearProgress();
}

void Progress::show(const std::string& text) {
  if (!enabled_) return;
  std::fprintf(stderr, allowsColours() ? "\r\033[K\033[2m%s\033[0m" : "\r\033[K%s", text.c_str());
  std::fflush(stderr);
  g_progressShown = true;
}

}  // namespace tavrin
