#include "tavrin/import/FtraceLine.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "tavrin/import/Blanks.h"

namespace tavrin {

namespace {

/// Of a task, in the kernel (TASK_COMM_LEN without the NUL).
constexpr std::size_t kLongestTaskName = 15;
/// From the name of the task to the CPU: name, numbers of the task and the process, blanks.
constexpr std::size_t kFarthestCpu = 100;
constexpr unsigned long long kNanoseconds = 1'000'000'000;
constexpr std::size_t kMostDecimals = 9;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::string_view takeToken(std::string_view& rest) {
  rest = withoutBlanksBefore(rest);
  const std::string_view token = rest.substr(0, rest.find_first_of(" \t"));
  rest.remove_prefix(token.size());
  return token;
}

/// Whether all of the text, which is not empty, is a number.
template <typename Number>
bool readNumber(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  if (text.empty() || !isDigit(text.front())) return false;
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end;
}

/// "17284.993652:" in seconds.
bool readTime(std::string_view token, unsigned long long& time) {
  if (!token.ends_with(':')) return false;
  token.remove_suffix(1);
  const std::size_t point = token.find('.');
  if (point == std::string_view::npos) return false;
  const std::string_view decimals = token.substr(point + 1);
  unsigned long long seconds = 0;
  unsigned long long part = 0;
  if (decimals.size() > kMostDecimals || !readNumber(token.substr(0, point), seconds) ||
      !readNumber(decimals, part) ||
      seconds >= std::numeric_limits<unsigned long long>::max() / kNanoseconds) {
    return false;
  }
  for (std::size_t digits = decimals.size(); digits < kMostDecimals; ++digits) part *= 10;
  time = seconds * kNanoseconds + part;
  return true;
}

/// "d..2.": interrupts, rescheduling, context, depths, as the kernel's letters.
bool isFlags(std::string_view token) {
  constexpr std::size_t kFewest = 4;
  constexpr std::size_t kMost = 8;
  return token.size() >= kFewest && token.size() <= kMost &&
         std::ranges::all_of(token, [](char c) { return c == '.' || isDigit(c) || isLetter(c); });
}

/// "(  1977)" or "(-----)" behind the task, if it is there. Returns false when it is another thing.
bool takeProcess(std::string_view& text, std::optional<int>& process) {
  if (!text.ends_with(')')) return true;
  const std::size_t begin = text.rfind('(');
  if (begin == std::string_view::npos) return false;
  const std::string_view inner =
      withoutBlanksBefore(text.substr(begin + 1, text.size() - begin - 2));
  text = withoutBlanksBehind(text.substr(0, begin));
  if (!inner.empty() && inner.find_first_not_of('-') == std::string_view::npos) return true;
  int number = 0;
  if (!readNumber(inner, number)) return false;
  if (number != 0) process = number;  // idle tasks have none
  return true;
}

/// "bash-1977" and the process.
bool readTask(std::string_view text, FtraceLine& event) {
  text = withoutBlanksBehind(text);
  if (!takeProcess(text, event.process)) return false;
  const std::size_t dash = text.rfind('-');
  if (dash == std::string_view::npos || dash > kLongestTaskName) return false;
  if (!readNumber(text.substr(dash + 1), event.task)) return false;
  event.taskName = text.substr(0, dash);
  if (event.taskName == "<...>") event.taskName = {};
  return true;
}

bool isOfName(char c) {
  return isDigit(c) || isLetter(c) || c == '_' || c == '.' || c == '-' || c == '$';
}

void setEvent(FtraceLine& event, std::string_view name, std::string_view payload) {
  event.event = name;
  event.payload = withoutBlanksBehind(withoutBlanksBefore(payload));
}

/// "sched_wakeup: comm=…". Calls are shown as "sys_openat(…", "sys_openat -> 0x3" and
/// "schedule <-do_idle".
bool readEvent(std::string_view text, FtraceLine& event) {
  text = withoutBlanksBefore(text);
  const auto length =
      static_cast<std::size_t>(std::ranges::find_if_not(text, isOfName) - text.begin());
  const std::string_view name = text.substr(0, length);
  const std::string_view rest = text.substr(length);
  if (name.empty()) return false;
  if (rest == ":" || rest.starts_with(": ") || rest.starts_with(":\t")) {
    setEvent(event, name, rest.substr(1));
  } else if (name.starts_with("sys_") && (rest.starts_with('(') || rest.starts_with(" -> "))) {
    setEvent(event, name, rest);
  } else if (rest.starts_with(" <-")) {
    setEvent(event, "function", text);
  } else {
    return false;
  }
  return true;
}

/// What follows the number of the CPU.
bool readRest(std::string_view text, FtraceLine& event) {
  std::string_view token = takeToken(text);
  if (isFlags(token)) token = takeToken(text);
  return readTime(token, event.time) && readEvent(text, event);
}

/// `line` has the CPU at `place`: "[000] ", or "0d..2. " of the lines of `trace-cmd report -l`.
bool readAt(std::string_view line, std::size_t place, FtraceLine& event) {
  const bool isBracket = line[place] == '[';
  const std::size_t digits = place + (isBracket ? 1 : 0);
  const std::size_t end = std::min(line.find_first_not_of("0123456789", digits), line.size());
  if (!readNumber(line.substr(digits, end - digits), event.cpu)) return false;
  if (isBracket && !line.substr(end).starts_with(']')) return false;
  const std::string_view rest = line.substr(end + (isBracket ? 1 : 0));
  const bool isApart = rest.starts_with(' ') || rest.starts_with('\t');
  if (rest.empty() || isApart != isBracket) return false;
  return readRest(rest, event) && readTask(line.substr(0, place), event);
}

bool mayBeCpu(std::string_view line, std::size_t place) {
  return line[place] == '[' || (isDigit(line[place]) && line[place - 1] == ' ');
}

}  // namespace

FtraceLineKind readFtraceLine(std::string_view line, FtraceLine& event) {
  line = withoutBlanksBefore(line);
  FtraceLineKind kind = FtraceLineKind::Other;
  const std::size_t end = std::min(line.size(), kFarthestCpu);
  for (std::size_t place = 1; place < end; ++place) {
    if (!mayBeCpu(line, place)) continue;
    FtraceLine found;
    if (!readAt(line, place, found)) continue;
    if (kind == FtraceLineKind::Event) return FtraceLineKind::Ambiguous;
    kind = FtraceLineKind::Event;
    event = found;
  }
  return kind;
}

}  // namespace tavrin
