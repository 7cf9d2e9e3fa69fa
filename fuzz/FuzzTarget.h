#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

#include "readers/FormatError.h"
#include "tests/TestSupport.h"

/// What each target defines: takes one input, which may be any bytes. It may refuse them; a crash,
/// an abort, a hang or a sanitizer's complaint is a finding. libFuzzer calls it, or the program
/// that feeds it the cases of fuzz/corpus/.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// What the targets have in common.
namespace fuzz {

/// A folder of the process, which is the current one from then on.
inline const TempFolder& workFolder() {
  static const auto folder = [] {
    auto made = std::make_unique<TempFolder>();
    std::filesystem::current_path(pwr::pathFromUtf8(made->path()));
    return made;
  }();
  return *folder;
}

/// Keeps log lines off the screen and aborts when one input makes too many of them.
class QuietLog {
 public:
  explicit QuietLog(std::size_t inputSize) : most_(0x100000 + 1000 * inputSize) {}
  ~QuietLog() {
    if (log_.all().size() > most_) std::abort();
  }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;

 private:
  const std::size_t most_;
  LogCapture log_;
};

/// Gives `read` the bytes as a file, which it may reject with a FormatError. `read` returns how
/// much text it got out of them, so that nothing is optimised away.
template <typename Read>
int readBytes(const std::uint8_t* data, std::size_t size, const Read& read) {
  std::istringstream file(std::string(data, data + size));
  try {
    return read(file) > SIZE_MAX / 2 ? -1 : 0;
  } catch (const FormatError&) {
    return 0;
  }
}

}  // namespace fuzz
