#include "tavrin/WrittenFiles.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <tuple>
#include <utility>

#include "tavrin/common/Messages.h"
#include "writers/host/PluginEnvironment.h"

namespace tavrin {

namespace {

constexpr const char* kDigits = "0123456789";
constexpr std::ptrdiff_t kShortestRange = 3;

/// Where the last number ends that is followed by an ending; 0 when there is none.
std::size_t numberEnd(const std::string& name) {
  std::size_t dot = name.find_last_of('.');
  while (dot != std::string::npos && dot > 0) {
    if (name[dot - 1] >= '0' && name[dot - 1] <= '9') return dot;
    dot = name.find_last_of('.', dot - 1);
  }
  return 0;
}

/// A name, taken apart at the number before its ending.
struct FileName {
  explicit FileName(std::string text);

  std::string whole;
  std::string stem;    ///< up to the number; the whole name when there is none
  std::string ending;  ///< behind it
  bool hasNumber = false;
  std::uint64_t number = 0;

  bool operator<(const FileName& other) const {
    return std::tie(stem, ending, number) < std::tie(other.stem, other.ending, other.number);
  }
  bool isFollowedBy(const FileName& other) const {
    return hasNumber && other.hasNumber && stem == other.stem && ending == other.ending &&
           number + 1 == other.number;
  }
};

FileName::FileName(std::string text) : whole(std::move(text)), stem(whole) {
  const std::size_t end = numberEnd(whole);
  const std::size_t begin = whole.substr(0, end).find_last_not_of(kDigits) + 1;
  const std::string digits = whole.substr(begin, end - begin);
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  hasNumber = result.ec == std::errc() && std::to_string(number) == digits;  // no leading zeros
  if (!hasNumber) return;
  stem = whole.substr(0, begin);
  ending = whole.substr(end);
}

}  // namespace

WrittenFiles::WrittenFiles(std::function<bool(const std::string& path)> elsewhere) {
  g_pluginEnvironment->setOutputListener(
      [this, elsewhere = std::move(elsewhere)](const std::string& path, bool isComplete) {
        if (isComplete && elsewhere && elsewhere(path)) return;
        (isComplete ? complete_ : incomplete_).push_back(path);
      });
}

WrittenFiles::~WrittenFiles() {
  g_pluginEnvironment->setOutputListener({});
}

void WrittenFiles::tell() const {
  if (!complete_.empty()) inform("wrote " + fileList(complete_));
  if (!incomplete_.empty()) inform("incomplete: " + fileList(incomplete_));
}

std::string fileList(std::vector<std::string> names) {
  std::vector<FileName> files(names.begin(), names.end());
  std::sort(files.begin(), files.end());
  std::string list;
  for (auto first = files.begin(); first != files.end();) {
    const auto breaks = [](const FileName& one, const FileName& next) {
      return !one.isFollowedBy(next);
    };
    const auto last = std::adjacent_find(first, files.end(), breaks);
    const auto end = last == files.end() ? last : last + 1;
    if (!list.empty()) list += ' ';
    if (end - first < kShortestRange) {
      list += (first++)->whole;
    } else {
      list += first->stem + std::to_string(first->number) + " … " + (end - 1)->whole;
      first = end;
    }
  }
  return list;
}

}  // namespace tavrin
