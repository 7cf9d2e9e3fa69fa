#include "tavrin/common/Terminal.h"

#include <cstdlib>
#include <string_view>

#if defined(_WIN32)
#include <io.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace tavrin {

bool isCapableTerminal(FILE* stream) {
  const char* const kind = std::getenv("TERM");
  if (kind != nullptr && std::string_view(kind) == "dumb") return false;
#if defined(_WIN32)
  return _isatty(_fileno(stream)) != 0;
#else
  return isatty(fileno(stream)) != 0;
#endif
}

bool allowsColours() {
  const char* const noColor = std::getenv("NO_COLOR");
  return noColor == nullptr || *noColor == '\0';
}

TerminalSize terminalSize([[maybe_unused]] FILE* stream) {
  TerminalSize size;
#if !defined(_WIN32)
  winsize window{};
  if (ioctl(fileno(stream), TIOCGWINSZ, &window) == 0 && window.ws_col > 0 && window.ws_row > 0) {
    size = {window.ws_col, window.ws_row};
  }
#endif
  return size;
}

}  // namespace tavrin
