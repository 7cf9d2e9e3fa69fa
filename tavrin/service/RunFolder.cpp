#include "tavrin/service/RunFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <tuple>

#include "hostcommon/Platform.h"
#include "packing/Packing.h"
#include "tavrin/service/RunNames.h"

namespace tavrin {

namespace {

constexpr std::chrono::minutes kAbandoned{1};
/// In seconds; in nanoseconds no clock counts much further.
constexpr long kLatest = 9'000'000'000;
/// Servers of files have clocks of their own.
constexpr std::chrono::hours kClockDifference{1};
constexpr const char* kIncomplete = ".incomplete";

/// What is under a name, if that is a file; a link is none.
std::optional<RunFolder::File> fileAt(const std::string& folder, const std::string& name) {
  struct stat status {};
  if (lstat((folder + name).c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  const auto seconds =
      std::clamp<decltype(status.st_mtim.tv_sec)>(status.st_mtim.tv_sec, 0, kLatest);
  const auto sinceEpoch =
      std::chrono::seconds(seconds) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
  return RunFolder::File{.name = name,
                         .modified = RunFolder::Time(
                             std::chrono::duration_cast<RunFolder::Time::duration>(sinceEpoch)),
                         .size = static_cast<std::uint64_t>(status.st_size)};
}

bool isLines(const std::string& name) {
  return name.ends_with(".lp") || name.ends_with(".lp.gz");
}

/// Whether a name is one that files have while they are written: like a new one but for its
/// letters.
bool isPrivateName(const std::string& name) {
  static const std::string example = pwr::platform::unguessableName();
  static const std::size_t known = example.rfind('-') + 1;
  return name.size() == example.size() && name.compare(0, known, example, 0, known) == 0;
}

/// A writer holds a lock on what it writes.
bool isLocked(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (file < 0) return true;
  const bool isFree = flock(file, LOCK_EX | LOCK_NB) == 0;
  close(file);
  return !isFree;
}

}  // namespace

RunFolder::RunFolder(std::string folder, std::string stem, bool sparesLines)
    : folder_(std::move(folder)), stem_(std::move(stem)), sparesLines_(sparesLines) {}

bool RunFolder::isAbandoned(const File& file, Time now) const {
  return now - file.modified > kAbandoned && !isLocked(pathOf(file));
}

RunFolder::Content RunFolder::look(Time now) {
  Content content;
  std::error_code error;
  std::filesystem::directory_iterator entry(folder_.empty() ? "." : folder_, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    const std::string_view rest = restOfRunName(name, stem_);
    const bool isPrivate = isPrivateName(name);
    if ((rest.empty() && !isPrivate) || (sparesLines_ && isLines(name))) continue;
    auto file = fileAt(folder_, name);
    if (!file || (isPrivate && isAbandoned(*file, now) && remove(*file))) continue;
    content.bytes += file->size;
    if (isPrivate) continue;
    file->isNumbered =
        isNumberedRest(rest) && !rest.ends_with(kIncomplete) && withoutPacking(rest) == rest;
    content.files.push_back(std::move(*file));
  }
  if (error) faultNote_.tell("cannot read the folder " + folder_ + ": " + error.message());
  // What comes from the future was written before the clock was set back.
  const auto isOfNow = [&](const File& file) { return file.modified < now + kClockDifference; };
  std::ranges::sort(content.files, [&](const File& one, const File& other) {
    return std::tuple(isOfNow(one), one.modified, std::string_view(one.name)) <
           std::tuple(isOfNow(other), other.modified, std::string_view(other.name));
  });
  return content;
}

bool RunFolder::remove(const File& file) {
  if (unlink(pathOf(file).c_str()) == 0 || errno == ENOENT) return true;
  faultNote_.tell("cannot remove " + pathOf(file) + ": " + std::strerror(errno));
  return false;
}

}  // namespace tavrin
