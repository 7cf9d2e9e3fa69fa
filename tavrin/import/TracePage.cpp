#include "tavrin/import/TracePage.h"

#include <algorithm>

#include "tavrin/import/Blanks.h"

namespace tavrin {

namespace {

bool startsWith(std::string_view text, std::string_view lowerCase) {
  const auto isSame = [](char one, char lower) {
    return one == lower || (one >= 'A' && one <= 'Z' && one - 'A' + 'a' == lower);
  };
  return text.size() >= lowerCase.size() &&
         std::equal(lowerCase.begin(), lowerCase.end(), text.begin(),
                    [&](char lower, char one) { return isSame(one, lower); });
}

/// What is behind the tag that begins a script of a recording.
std::optional<std::string_view> behindTag(std::string_view line) {
  const std::size_t tag = line.find("class=\"trace-data\"");
  const std::size_t end = tag == std::string_view::npos ? tag : line.find('>', tag);
  if (end == std::string_view::npos) return std::nullopt;
  return line.substr(end + 1);
}

/// Whether a script that begins with the line is another thing than a recording of the kernel's.
bool isAnother(std::string_view line) {
  return line.starts_with("PROCESS DUMP") || line.starts_with("USER ") || line.starts_with('{');
}

}  // namespace

bool TracePage::isPage(std::string_view text) {
  text = withoutBlanksBefore(text);
  return startsWith(text, "<!doctype html") || startsWith(text, "<html");
}

std::optional<std::string_view> TracePage::take(std::string_view line) {
  if (state_ == State::Unknown) {
    if (withoutBlanksBefore(line).empty()) return std::nullopt;
    isPage_ = isPage(line);
    state_ = isPage_ ? State::Outside : State::Inside;
  }
  return isPage_ ? takeOfPage(line) : line;
}

/// Scripts may end and begin within a line; that has one part of a recording only.
std::optional<std::string_view> TracePage::takeOfPage(std::string_view line) {
  for (;;) {
    if (state_ == State::Outside) {
      const auto rest = behindTag(line);
      if (!rest) return std::nullopt;
      state_ = State::Begin;
      line = *rest;
    }
    const std::size_t end = line.find("</script>");
    const std::string_view part = line.substr(0, end);
    const bool isBlank = withoutBlanksBefore(part).empty();
    if (state_ == State::Begin && !isBlank) {
      state_ = isAnother(withoutBlanksBefore(part)) ? State::Skipping : State::Inside;
    }
    const bool isInside = state_ == State::Inside;
    hasRecording_ = hasRecording_ || isInside;
    if (end == std::string_view::npos) return isInside ? std::optional(part) : std::nullopt;
    state_ = State::Outside;
    if (isInside && !isBlank) return part;
    line = line.substr(end);
  }
}

}  // namespace tavrin
