#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "tavrin/collect/Counting.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

/// The kernel's /proc/stat, read once per sampling pass however many features need it: on a large
/// machine the kernel takes milliseconds to write it.
class StatFile {
 public:
  void open(const SysRoot& root) {
    if (!file_) file_.emplace(root.path(kPath));
  }

  /// The text at `now` (ticks), valid until a later time is asked for; "" when the read fails.
  std::string_view textAt(unsigned long long now) {
    if (!readTime_ || *readTime_ != now) {
      readTime_ = now;
      if (file_->readText(text_) != 0) text_ = {};
    }
    return text_;
  }

  /// How many processes and threads have been started since the machine was, at `now`.
  std::optional<unsigned long long> forksAt(unsigned long long now) {
    constexpr std::string_view kKey = "\nprocesses ";
    const std::string_view text = textAt(now);
    const std::size_t place = text.rfind(kKey);
    unsigned long long forks = 0;
    if (place == std::string_view::npos) return std::nullopt;
    std::string_view number = text.substr(place + kKey.size());
    return takeNumber(number, forks) ? std::optional(forks) : std::nullopt;
  }

  /// How long all CPUs together have worked for programs, and the kernel for them, at `now`: in
  /// ticks, as the kernel counts, mostly by looking at each timer interrupt who is running.
  unsigned long long workedAt(unsigned long long now) {
    std::string_view text = textAt(now);
    takeWord(text);
    std::array<unsigned long long, 3> jiffies{};  // user, nice, system
    for (unsigned long long& each : jiffies) takeNumber(text, each);
    return (jiffies[0] + jiffies[1] + jiffies[2]) * ticksPerJiffy();
  }

  static constexpr const char* kPath = "/proc/stat";

 private:
  std::optional<OpenFile> file_;
  std::optional<unsigned long long> readTime_;
  std::string_view text_;
};

}  // namespace tavrin
