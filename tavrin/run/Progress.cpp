#include "tavrin/run/Progress.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tavrin {

namespace {

std::atomic<bool> g_lineShown{false};

}  // namespace

bool isTerminal() {
#if defined(_WIN32)
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(STDERR_FILENO) != 0;
#endif
}

Progress::Progress(bool enabled) : enabled_(enabled && isTerminal()) {}
Progress::~Progress() {
  clearLine();
}

void Progress::show(const std::string& text) {
  if (!enabled_) return;
  const char* const noColor = std::getenv("NO_COLOR");
  const bool plain = noColor != nullptr && *noColor != '\0';
  std::fprintf(stderr, plain ? "\r\033[K%s" : "\r\033[K\033[2m%s\033[0m", text.c_str());
  std::fflush(stderr);
  g_lineShown = true;
}

void Progress::clearLine() {
  if (!g_lineShown.exchange(false)) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
}

}  // namespace tavrin
