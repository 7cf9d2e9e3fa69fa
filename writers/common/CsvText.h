#pragma once

#include <span>
#include <string>
#include <string_view>

/// Whether a CSV reader would misread `text` as a cell unless it is quoted.
inline bool needsCsvQuotes(std::string_view text) {
  return text.find_first_of(",\"\r\n") != std::string_view::npos;
}

/// Appends `text` as a cell of a CSV file: quoted, as RFC 4180 says, only when it must be.
inline void appendCsvText(std::string& out, std::string_view text) {
  if (!needsCsvQuotes(text)) {
    out += text;
    return;
  }
  out += '"';
  for (const char character : text) {
    if (character == '"') out += '"';
    out += character;
  }
  out += '"';
}

/// `text` as a cell of a CSV file.
inline std::string csvText(std::string_view text) {
  std::string cell;
  appendCsvText(cell, text);
  return cell;
}

/// A line of a CSV file with such cells, separated by commas alone.
inline std::string csvLine(std::span<const std::string> cells) {
  std::string line;
  for (const std::string& cell : cells) {
    appendCsvText(line, cell);
    line += ',';
  }
  if (!line.empty()) line.pop_back();
  return line + '\n';
}
