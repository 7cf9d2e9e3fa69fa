#pragma once

#include <string>

/// The file that every automation run adds its line to. Runs that end at once take turns.
class AutomationFile {
 public:
  /// `path`: UTF-8; the file need not exist.
  explicit AutomationFile(std::string path) : path_(std::move(path)) {}

  /// Appends `values` as a line; before it `header` as a line, unless it is what the last header
  /// line of the file says. Both come without an end of line. Returns 0, or 1 (logged) when the
  /// run's line is not in the file.
  int add(const std::string& header, const std::string& values) const;

 private:
  int fail(const char* action) const;

  const std::string path_;
};
