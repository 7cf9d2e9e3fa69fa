#include "tavrin/collect/ProcessFiles.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <ctime>

#include "hostcommon/Utf8Text.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

/// The clock of a process, as clock_getcpuclockid makes it, which asks whether the process exists.
clockid_t clockOf(int pid) {
  constexpr unsigned int kScheduled = 2;
  return static_cast<clockid_t>((~static_cast<unsigned int>(pid) << 3U) | kScheduled);
}

/// Skips fields up to the next blank.
void skipFields(std::string_view& text, int count) {
  for (; count > 0; --count) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    text.remove_prefix(std::min(text.find(' '), text.size()));
  }
}

template <typename Number>
bool takeField(std::string_view& text, int skipped, Number& value) {
  skipFields(text, skipped);
  return takeNumber(text, value);
}

/// The number in the line "KEY:\t  123 kB"; untouched where there is none.
void findNumber(std::string_view text, std::string_view key, unsigned long long& value) {
  while (!text.empty()) {
    std::string_view line = takeLine(text);
    if (!line.starts_with(key)) continue;
    line.remove_prefix(key.size());
    takeNumber(line, value);
    return;
  }
}

}  // namespace

std::string ProcessFiles::folder(int pid) {
  return std::string(kFolder) + "/" + std::to_string(pid);
}

/// Replaces `numbers` by those that are names in the folder, which is opened where it is not open
/// yet. Returns 0 or the errno.
int ProcessFiles::listNumbers(Folder& folder, const std::string& path, std::vector<int>& numbers) {
  numbers.clear();
  if (folder == nullptr) {
    folder.reset(::opendir(path.c_str()));
    if (folder == nullptr) return errno;
  } else {
    ::rewinddir(folder.get());
  }
  while (const dirent* const entry = ::readdir(folder.get())) {  // NOLINT: a stream of our own
    std::string_view name = static_cast<const char*>(entry->d_name);
    int number = 0;
    if (name.front() >= '1' && name.front() <= '9' && takeNumber(name, number) && name.empty()) {
      numbers.push_back(number);
    }
  }
  if (!std::ranges::is_sorted(numbers)) std::ranges::sort(numbers);
  return 0;
}

int ProcessFiles::list(std::vector<int>& pids) {
  return listNumbers(all_, root_.path(kFolder), pids);
}

std::vector<int> ProcessFiles::threadsOf(int pid) const {
  std::vector<int> tids;
  Folder tasks;
  listNumbers(tasks, root_.path(folder(pid) + "/task"), tids);
  return tids;
}

std::optional<unsigned long long> ProcessFiles::cpuTime(int pid) const {
  if (root_.isThisMachine()) {
    timespec time{};
    if (clock_gettime(clockOf(pid), &time) != 0) return std::nullopt;
    return static_cast<unsigned long long>(time.tv_sec) * 1'000'000'000ULL +
           static_cast<unsigned long long>(time.tv_nsec);
  }
  unsigned long long nanoseconds = 0;
  if (root_.readNumber(folder(pid) + "/schedstat", nanoseconds) != 0) return std::nullopt;
  return nanoseconds;
}

/// "PID (NAME) STATE PARENT ...": the name may have blanks and parentheses of its own.
std::optional<ProcessStat> ProcessFiles::statAt(const std::string& folder) const {
  constexpr unsigned int kKernelThread = 0x00200000;  // PF_KTHREAD
  std::string text;
  if (root_.readText(folder + "/stat", text) != 0) return std::nullopt;
  const std::size_t open = text.find('(');
  const std::size_t close = text.rfind(')');
  if (open == std::string::npos || close == std::string::npos || close < open) return std::nullopt;
  ProcessStat stat;
  stat.name = pwr::validUtf8(std::string_view(text).substr(open + 1, close - open - 1));
  std::string_view rest = std::string_view(text).substr(close + 1);
  unsigned int flags = 0;
  if (!takeField(rest, 1, stat.parent) || !takeField(rest, 4, flags) ||
      !takeField(rest, 10, stat.threads) || !takeField(rest, 1, stat.start)) {
    return std::nullopt;
  }
  stat.isKernelThread = (flags & kKernelThread) != 0;
  return stat;
}

bool ProcessFiles::isGone(int pid) const {
  std::string text;
  const int error = root_.readText(folder(pid) + "/stat", text);
  return error == ENOENT || error == ESRCH;
}

std::optional<ProcessStat> ProcessFiles::stat(int pid, int tid) const {
  return statAt(folder(pid) + "/task/" + std::to_string(tid));
}

std::optional<ProcessStatus> ProcessFiles::status(int pid) const {
  std::string text;
  if (root_.readText(folder(pid) + "/status", text) != 0) return std::nullopt;
  ProcessStatus status;
  findNumber(text, "voluntary_ctxt_switches:", status.voluntary);
  findNumber(text, "nonvoluntary_ctxt_switches:", status.involuntary);
  findNumber(text, "VmHWM:", status.peakKiB);
  findNumber(text, "VmRSS:", status.residentKiB);
  return status;
}

std::string ProcessFiles::program(int pid) const {
  std::array<char, PATH_MAX> target;
  const std::string link = root_.path(folder(pid) + "/exe");
  const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
  if (length > 0) return pwr::validUtf8({target.data(), static_cast<std::size_t>(length)});
  std::string words;
  if (root_.readText(folder(pid) + "/cmdline", words) != 0) return {};
  words.resize(std::min({words.find('\0'), words.size(), target.size()}));
  return pwr::validUtf8(words);
}

std::optional<SchedTimes> ProcessFiles::schedTimes(int pid) const {
  std::string text;
  if (root_.readText(folder(pid) + "/schedstat", text) != 0) return std::nullopt;
  return SchedTimes::parse(text);
}

OpenFile ProcessFiles::schedstat(int pid) const {
  return OpenFile(root_.path(folder(pid) + "/schedstat"));
}

std::optional<SchedTimes> SchedTimes::parse(std::string_view text) {
  SchedTimes times;
  if (!takeNumber(text, times.ran) || !takeNumber(text, times.waited)) return std::nullopt;
  return times;
}

}  // namespace tavrin
