#pragma once

#include <string>
#include <string_view>

/// Whether a CSV reader would misread `text` as a cell unless it is quoted.
inline bool needsCsvQuotes(std::string_view text) {
  return text.find_first_of(",\"\r\n") != std::string_view::npos;
}

/// `text` as a cell of a CSV file: quoted, as RFC 4180 says, only when it must be.
inline std::string csvText(std::string_view text) {
  if (!needsCsvQuotes(text)) return std::string(text);
  std::string quoted = "\"";
  for (const char character : text) {
    if (character == '"') quoted += '"';
    quoted += character;
  }
  return quoted + '"';
}
