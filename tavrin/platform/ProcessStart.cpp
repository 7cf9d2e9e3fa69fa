#include "tavrin/platform/ProcessStart.h"

#if defined(_WIN32)
// clang-format off: the other headers of the system need this one
#include <windows.h>
// clang-format on
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <cstdio>
#else
#include <fcntl.h>

#include <csignal>
#endif

namespace tavrin {

#if defined(_WIN32)

namespace {

/// The console belongs to whoever called: it gets its own encoding back at the end.
class Utf8Console {
 public:
  Utf8Console() { SetConsoleOutputCP(CP_UTF8); }
  ~Utf8Console() { SetConsoleOutputCP(previous_); }
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;

 private:
  UINT previous_ = GetConsoleOutputCP();
};

std::string utf8(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), size, nullptr, nullptr);
  result.pop_back();  // the terminating zero
  return result;
}

}  // namespace

// The arguments of main are in the system's code page, which cannot express every name.
std::vector<std::string> startProcess(int /*argc*/, char** /*argv*/) {
  static const Utf8Console console;
  for (FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(utf8(words[i]));
  LocalFree(words);
  return arguments;
}

#else

namespace {

/// A standard stream that the caller has closed fails from now on. Its number would otherwise go to
/// the next file that is opened, and what is meant for the terminal would end up in there.
void holdStandardStreams() {
  for (const int number : {0, 1, 2}) {
    if (fcntl(number, F_GETFD) < 0) open("/dev/null", number == 0 ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace

std::vector<std::string> startProcess(int argc, char** argv) {
  holdStandardStreams();
  // A file that reaches its size limit is a failed write.
  std::signal(SIGXFSZ, SIG_IGN);
  // Ignored, it would take away how the measured command ended.
  std::signal(SIGCHLD, SIG_DFL);
  return {argv + 1, argv + argc};
}

#endif

}  // namespace tavrin
