#include "exporters/lines/LineOutput.h"

#include <cerrno>
#include <charconv>

#include "writers/common/TextLog.h"

namespace lines {

std::string LineOutput::nextPath() const {
  return baseName_ + (continuous_ ? "_" + std::to_string(number_) : "") + kEnding;
}

bool LineOutput::open() {
  const std::string path = nextPath();
  if (file_.open(path)) {
    ++number_;
    return true;
  }
  PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not create %s: %s.\n", path.c_str(),
         systemErrorText(errno).c_str());
  return false;
}

void LineOutput::setTime(std::uint64_t nanoseconds) {
  time_ = nanoseconds;
  char* const begin = timeText_.data();
  const auto [end, error] = std::to_chars(begin, begin + timeText_.size(), nanoseconds);
  timeSize_ = static_cast<std::size_t>(end - begin);
}

void LineOutput::add(std::string_view head, std::string_view fields) {
  if (isLost_) return;
  if (!file_.isOpen() && !open()) {
    isLost_ = true;
    return;
  }
  file_.add(head, fields, {timeText_.data(), timeSize_});
}

bool LineOutput::flush() {
  // One that nothing has come for waits on.
  const bool isWritten = !file_.hasLines() || !file_.isOpen() || file_.close() == 0;
  const bool isWhole = isWritten && !isLost_;
  isWhole_ = isWhole_ && isWhole;
  isLost_ = false;
  return isWhole;
}

int LineOutput::close() {
  if (continuous_ && !file_.hasLines()) {
    file_.discard();
  } else if (file_.isOpen() && file_.close() != 0) {
    isWhole_ = false;
  }
  return isWhole_ && !isLost_ ? 0 : 1;
}

}  // namespace lines
