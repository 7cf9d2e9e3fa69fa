#pragma once

#include <optional>
#include <string_view>

namespace tavrin {

/// Finds the recording in a page of Android's systrace, which has it in scripts of the class
/// "trace-data"; in text that is no page everything is the recording. Scripts of that class with
/// other things, such as lists of processes, are left out.
class TracePage {
 public:
  /// Whether text that begins so is a page.
  static bool isPage(std::string_view text);

  /// The part of the next line that is of the recording; nothing where none is. The lines are
  /// without their line feeds.
  std::optional<std::string_view> take(std::string_view line);

  /// Whether the text so far is a page without any recording.
  bool isMissing() const { return state_ != State::Unknown && isPage_ && !hasRecording_; }

 private:
  enum class State { Unknown, Outside, Begin, Inside, Skipping };

  std::optional<std::string_view> takeOfPage(std::string_view line);

  State state_ = State::Unknown;
  bool isPage_ = false;
  bool hasRecording_ = false;
};

}  // namespace tavrin
