#pragma once

#include <filesystem>
#include <string>
#include <system_error>

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

/// The path from the root, which stays right when the process changes its directory; `path` itself
/// when the system cannot tell the current directory.
inline std::string absolutePath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(pathFromUtf8(path), error);
  return error ? path : utf8FromPath(absolute);
}

}  // namespace pwr
