#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "writers/common/TimeScale.h"
#include "writers/host/SystemMessage.h"

/// The line that a run adds to the file which the runs of a test series share: its columns, until
/// the output is closed. Runs that end at once take turns.
class AutomationLine {
 public:
  static constexpr const char* kFileName = "Automation_Summary.csv";

  /// `baseName`: the run's name and, by its folder, the place of the file. Nothing is opened.
  /// `timeScale`: without the clock's frequency.
  AutomationLine(const std::string& baseName, const TimeScale& timeScale);

  void addColumn(std::string name, std::string value);

  /// Adds the columns of the collection's start and duration. Their values come at the end: a live
  /// collection does not know its duration before.
  int write(const pwr::SystemMessage& message);
  const TimeScale& timeScale() const { return timeScale_; }

  /// Appends the values to the file as a line; before it the names as a line, unless they are what
  /// the last header line of the file says. Returns 0, or 1 (logged) when the run's line is not in
  /// the file.
  int close();

 private:
  int append_i(const std::string& header, const std::string& values) const;
  int fail_i(const char* action) const;

  const std::string path_;
  // In parallel.
  std::vector<std::string> names_;
  std::vector<std::string> values_;
  TimeScale timeScale_;
  const pwr::SystemMetadata* metadata_ = nullptr;
  std::size_t systemColumn_ = 0;  ///< the first one that is filled from the metadata
};
