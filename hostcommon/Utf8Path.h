#pragma once

#include <filesystem>
#include <string>

/// File system paths from and to UTF-8 text, which every path outside of std::filesystem is. (On
/// Windows, std::filesystem::path takes a std::string for text of the system's code page.)
namespace pwr {

inline std::filesystem::path pathFromUtf8(const std::string& text) {
  return std::u8string(text.begin(), text.end());
}

inline std::string utf8FromPath(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

}  // namespace pwr
