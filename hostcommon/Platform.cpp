#include "hostcommon/Platform.h"

#include <cerrno>
#include <random>

#include "writers/host/HostFunctions.h"

namespace pwr::platform {

std::string unguessableName() {
  static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  std::random_device random;
  std::uniform_int_distribution<std::size_t> letter(0, sizeof kLetters - 2);
  std::string name = ".tavrin-";
  for (int i = 0; i < 16; ++i) name += kLetters[letter(random)];
  return name;
}

std::string folderOf(const std::string& path) {
  const std::size_t separator = path.find_last_of(kSeparators);
  return separator == std::string::npos ? std::string() : path.substr(0, separator + 1);
}

std::string createPrivateDirectory(const std::string& parent) {
  for (;;) {
    std::string path = (parent.empty() ? "." : parent) + "/" + unguessableName();
    // Noted first: there is no moment in which an abort would miss it.
    noteTemporary(path.c_str());
    if (makePrivateDirectory(path)) return path;
    const int cause = errno;
    forgetTemporary(path.c_str());
    errno = cause;
    if (cause != EEXIST) return {};
  }
}

bool removePrivateDirectory(const std::string& path) {
  const bool isRemoved = removeDirectory(path);
  const int cause = errno;
  forgetTemporary(path.c_str());
  errno = cause;
  return isRemoved;
}

}  // namespace pwr::platform
