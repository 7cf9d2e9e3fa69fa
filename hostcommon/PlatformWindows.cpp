#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <random>

#include "hostcommon/Platform.h"

namespace pwr::platform {

namespace {

std::wstring wide(const std::string& text) {
  const int length =
      MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring result(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(),
                      length);
  return result;
}

std::string randomName() {
  static const char digits[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  std::random_device random;
  std::uniform_int_distribution<std::size_t> digit(0, sizeof digits - 2);
  std::string name = ".tavrin-";
  for (int i = 0; i < 16; ++i) name += digits[digit(random)];
  return name;
}

}  // namespace

FILE* openFile(const char* path, const char* mode) {
  return _wfopen(wide(path).c_str(), wide(std::string(mode) + "N").c_str());
}

std::string errorText(int errnum) {
  std::array<char, 256> buffer{};
  strerror_s(buffer.data(), buffer.size(), errnum);
  return buffer.data();
}

// A new directory takes the access rights of its parent, which for a user's own folders are the
// user's alone; the random name keeps other processes of the user from meeting it.
std::string makePrivateDirectory(const std::string& parent) {
  for (;;) {
    const std::string path = (parent.empty() ? "." : parent) + "/" + randomName();
    if (_wmkdir(wide(path).c_str()) == 0) return path;
    if (errno != EEXIST) return {};
  }
}

bool removeDirectory(const std::string& path) {
  return _wrmdir(wide(path).c_str()) == 0;
}

bool removeFile(const std::string& path) {
  return _wunlink(wide(path).c_str()) == 0;
}

void raiseOpenFileLimit() {
  constexpr int kMostStreams = 8192;  // the C runtime's own limit
  _setmaxstdio(kMostStreams);
}

}  // namespace pwr::platform
