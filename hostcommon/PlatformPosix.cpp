#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "hostcommon/Platform.h"

namespace pwr::platform {

namespace {

// strerror_r returns int (POSIX) or the text (GNU); overloads take whichever it is.
[[maybe_unused]] const char* chosenText(int /*status*/, const char* buffer) {
  return buffer;
}
[[maybe_unused]] const char* chosenText(const char* text, const char* /*buffer*/) {
  return text;
}

}  // namespace

FILE* openFile(const char* path, const char* mode) {
  return std::fopen(path, (std::string(mode) + "e").c_str());
}

std::string errorText(int errnum) {
  std::array<char, 256> buffer{};
  return chosenText(strerror_r(errnum, buffer.data(), buffer.size()), buffer.data());
}

std::string makePrivateDirectory(const std::string& parent) {
  std::string path = (parent.empty() ? "." : parent) + "/.tavrin-XXXXXX";
  return mkdtemp(path.data()) == nullptr ? std::string() : path;
}

bool removeDirectory(const std::string& path) {
  return rmdir(path.c_str()) == 0;
}

bool removeFile(const std::string& path) {
  return unlink(path.c_str()) == 0;
}

void raiseOpenFileLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace pwr::platform
