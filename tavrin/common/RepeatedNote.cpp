#include "tavrin/common/RepeatedNote.h"

#include "tavrin/common/Messages.h"

namespace tavrin {

namespace {

constexpr std::chrono::minutes kPeriod{5};

}  // namespace

bool RepeatedNote::tell(const std::string& text) {
  const auto now = Clock::now();
  if (isTold_ && now - told_ < kPeriod) {
    ++silent_;
    return false;
  }
  warn(silent_ == 0 ? text : text + " (and " + std::to_string(silent_) + " more times since)");
  isTold_ = true;
  told_ = now;
  silent_ = 0;
  return true;
}

}  // namespace tavrin
