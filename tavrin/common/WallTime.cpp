#include "tavrin/common/WallTime.h"

#include <charconv>
#include <chrono>
#include <limits>

namespace tavrin {

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::int64_t kMostSeconds = std::numeric_limits<std::int64_t>::max() / kNsPerSecond - 1;

/// Takes a text apart from its beginning. What does not fit makes it faulty, whatever follows.
class TimeScanner {
 public:
  explicit TimeScanner(std::string_view text) : rest_(text) {}

  bool isDone() const { return isSound_ && rest_.empty(); }
  bool takes(char letter) {
    if (!rest_.starts_with(letter)) return false;
    rest_.remove_prefix(1);
    return true;
  }
  void expect(char letter) { isSound_ = takes(letter) && isSound_; }
  bool hasDigit() const { return !rest_.empty() && rest_[0] >= '0' && rest_[0] <= '9'; }

  /// A number of just as many digits; of any number of them for 0.
  std::int64_t number(std::size_t digits, std::int64_t most) {
    std::size_t size = 0;
    while (size < rest_.size() && rest_[size] >= '0' && rest_[size] <= '9' &&
           (digits == 0 || size < digits)) {
      ++size;
    }
    std::int64_t value = 0;
    const auto result = std::from_chars(rest_.data(), rest_.data() + size, value);
    isSound_ = isSound_ && size != 0 && (digits == 0 || size == digits) &&
               result.ec == std::errc() && value <= most;
    rest_.remove_prefix(size);
    return isSound_ ? value : 0;
  }

  /// The nanoseconds of ".25", if there is such a fraction.
  std::int64_t fraction() {
    if (!takes('.')) return 0;
    std::int64_t nanoseconds = 0;
    std::int64_t unit = kNsPerSecond;
    isSound_ = isSound_ && hasDigit();
    while (hasDigit() && isSound_) {
      unit /= 10;
      isSound_ = unit != 0;
      nanoseconds += unit * number(1, 9);
    }
    return nanoseconds;
  }

  /// The seconds by which the zone's time is ahead.
  std::int64_t zone() {
    if (takes('Z') || takes('z')) return 0;
    const bool isBehind = takes('-');
    if (!isBehind) expect('+');
    std::int64_t seconds = number(2, 23) * 3600;
    if (takes(':') || hasDigit()) seconds += number(2, 59) * 60;
    return isBehind ? -seconds : seconds;
  }

  std::int64_t day() {
    const auto year = static_cast<int>(number(4, 9999));
    expect('-');
    const auto month = static_cast<unsigned int>(number(2, 12));
    expect('-');
    const auto day = static_cast<unsigned int>(number(2, 31));
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(day)};
    isSound_ = isSound_ && date.ok();
    return isSound_ ? std::chrono::sys_days(date).time_since_epoch().count() : 0;
  }

 private:
  std::string_view rest_;
  bool isSound_ = true;
};

std::optional<std::uint64_t> inRange(std::int64_t seconds, std::int64_t nanoseconds) {
  if (seconds < 0 || seconds > kMostSeconds || seconds + nanoseconds == 0) return std::nullopt;
  return static_cast<std::uint64_t>(seconds * kNsPerSecond + nanoseconds);
}

}  // namespace

std::optional<std::uint64_t> parseWallTime(std::string_view text) {
  TimeScanner plain(text);
  const std::int64_t seconds = plain.number(0, kMostSeconds);
  const std::int64_t part = plain.fraction();
  if (plain.isDone()) return inRange(seconds, part);

  TimeScanner scanner(text);
  std::int64_t time = scanner.day() * 86400;
  if (!scanner.takes('T') && !scanner.takes('t')) scanner.expect(' ');
  time += scanner.number(2, 23) * 3600;
  scanner.expect(':');
  time += scanner.number(2, 59) * 60;
  std::int64_t nanoseconds = 0;
  if (scanner.takes(':')) {
    time += scanner.number(2, 59);
    nanoseconds = scanner.fraction();
  }
  time -= scanner.zone();
  if (!scanner.isDone()) return std::nullopt;
  return inRange(time, nanoseconds);
}

}  // namespace tavrin
