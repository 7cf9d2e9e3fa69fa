#include "tavrin/common/Messages.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

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

/// Whether standard error is the journal's, which takes the priority of a line from its beginning.
bool isJournal() {
#if defined(_WIN32)
  return false;
#else
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  return stream != nullptr && fstat(STDERR_FILENO, &status) == 0 &&
         std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
#endif
}

/// The beginning of a line for the journal, by the words with which lines tell what they are.
const char* priorityOf(std::string_view text) {
  constexpr std::string_view kProgram = "tavrin: ";
  if (text.starts_with(kProgram)) text.remove_prefix(kProgram.size());
  constexpr std::array<std::pair<std::string_view, const char*>, 5> kPriorities{
      {{"error:", "<3>"},
       {"ERROR:", "<3>"},
       {"warning:", "<4>"},
       {"WARNING:", "<4>"},
       {"DEBUG:", "<7>"}}};
  for (const auto& [word, priority] : kPriorities) {
    if (text.starts_with(word)) return priority;
  }
  return "<6>";
}

/// One line at a time, below which the progress starts anew.
class LineLogger : public pwr::FileLogger {
 public:
  LineLogger() : FileLogger(stderr, false) {}

  void log(PWLogLevel /*level*/, const char* line) override {
    std::string_view text(line);
    if (text.ends_with('\n')) text.remove_suffix(1);
    clearProgress();
    const std::string shown = (isJournal_ ? priorityOf(text) : "") + escaped(text) + "\n";
    write(shown.data(), shown.size());
  }

 private:
  const bool isJournal_ = isJournal();
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
