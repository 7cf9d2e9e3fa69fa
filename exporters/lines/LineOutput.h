#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "exporters/lines/LinesFile.h"

namespace lines {

inline constexpr const char* kEnding = ".lp.gz";

/// Where the lines of a run go: one file "BASE.lp.gz", or of a continuous run the files
/// "BASE_0.lp.gz", "BASE_1.lp.gz" and so on, each of which has some lines. One that cannot be
/// written costs its own lines alone.
class LineOutput {
 public:
  LineOutput(std::string baseName, bool continuous)
      : baseName_(std::move(baseName)), continuous_(continuous) {}

  /// Opens the first file. False, which has been told, on failure.
  bool open();

  /// The time of the lines that follow, in nanoseconds since 1970.
  void setTime(std::uint64_t nanoseconds);
  /// That of the latest `setTime`.
  std::uint64_t time() const { return time_; }
  /// Adds a line of that time. `head` is the measurement with its tags.
  void add(std::string_view head, std::string_view fields);

  /// Ends the file, so that the next line begins another. False when a file since the last flush is
  /// not complete, which has been told. Of a continuous run only.
  bool flush();
  /// Ends the last file. 1 when any of the run's files is not complete.
  int close();
  /// Leaves nothing of the file that is open.
  void discard() { file_.discard(); }

 private:
  std::string nextPath() const;

  const std::string baseName_;
  const bool continuous_;
  LinesFile file_;
  int number_ = 0;       // of the next file
  bool isLost_ = false;  // lines since the last flush have no file
  bool isWhole_ = true;  // all files so far are complete
  std::uint64_t time_ = 0;
  std::array<char, 20> timeText_{};
  std::size_t timeSize_ = 0;
};

}  // namespace lines
