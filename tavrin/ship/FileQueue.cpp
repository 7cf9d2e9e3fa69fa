#include "tavrin/ship/FileQueue.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <optional>

#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"

namespace tavrin {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAside = "rejected";
constexpr const char* kReasonsEnding = ".txt";

/// The folder, open and locked.
int lockFolder(const std::string& folder) {
  const int file = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (file < 0) {
    throw CommandError(kExitIncomplete,
                       "cannot read the folder " + folder + ": " + std::strerror(errno));
  }
  if (flock(file, LOCK_EX | LOCK_NB) == 0) return file;
  const int cause = errno;
  close(file);
  throw CommandError(kExitIncomplete,
                     cause == EWOULDBLOCK
                         ? "another tavrin sends the files of " + folder + " already"
                         : "cannot lock the folder " + folder + ": " + std::strerror(cause));
}

/// In nanoseconds since 1970. Times beyond what these can tell are the nearest ones that they can.
std::int64_t nanoseconds(const timespec& time) {
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max() / kNanoseconds - 1;
  return std::clamp<std::int64_t>(time.tv_sec, 0, kMost) * kNanoseconds + time.tv_nsec;
}

/// What a folder has under a name, if that is a file; a link is none.
QueuedFilePtr fileAt(const std::string& folder, const std::string& name) {
  const std::string path = folder + "/" + name;
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  return std::make_shared<QueuedFile>(
      QueuedFile{.order = {.modified = nanoseconds(status.st_mtim), .name = name},
                 .path = path,
                 .size = static_cast<std::uint64_t>(status.st_size),
                 .inode = status.st_ino});
}

/// The names of a folder; nothing when it cannot be read.
std::optional<std::vector<std::string>> namesIn(const std::string& folder, std::error_code& error) {
  std::vector<std::string> names;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  if (error) return {};
  return names;
}

bool writeText(const std::string& path, const std::vector<std::string>& lines) {
  std::ofstream file(path, std::ios::trunc);
  for (const std::string& line : lines) file << line << '\n';
  file.close();
  return !file.fail();
}

}  // namespace

bool isFileOfLines(const std::string& name) {
  return name.ends_with(".lp") || name.ends_with(".lp.gz");
}

FileQueue::FileQueue(std::string folder, unsigned int destinations, Choice choice)
    : folder_(std::move(folder)),
      aside_(folder_ + "/" + kAside),
      destinations_(destinations),
      choice_(std::move(choice)),
      lock_(lockFolder(folder_)) {}

FileQueue::~FileQueue() {
  close(lock_);
}

QueuedFilePtr FileQueue::lookAt(const std::string& name) const {
  if (!choice_(name) || stuck_.contains(name)) return nullptr;
  QueuedFilePtr file = fileAt(folder_, name);
  if (file == nullptr) return nullptr;
  file->unacknowledged = destinations_;
  file->open = destinations_;
  return file;
}

std::vector<QueuedFilePtr> FileQueue::scan() {
  std::vector<QueuedFilePtr> fresh;
  std::error_code error;
  const auto names = namesIn(folder_, error);
  if (!names) {
    faultNote_.tell("cannot read the folder " + folder_ + ": " + error.message());
    return fresh;
  }
  Names found;
  for (const std::string& name : *names) {
    QueuedFilePtr file = lookAt(name);
    if (file == nullptr) continue;
    const auto known = files_.find(name);
    const bool isSame = known != files_.end() && !(known->second->order < file->order) &&
                        !(file->order < known->second->order) &&
                        known->second->size == file->size && known->second->inode == file->inode;
    if (!isSame) fresh.push_back(file);
    found.emplace(name, isSame ? known->second : std::move(file));
  }
  for (const auto& [name, file] : files_) {
    const auto still = found.find(name);
    if (still == found.end() || still->second != file) file->isGone = true;
  }
  files_ = std::move(found);
  return fresh;
}

std::size_t FileQueue::unacknowledged() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      files_, [](const auto& entry) { return entry.second->unacknowledged > 0; }));
}

bool FileQueue::remove(const std::string& path) {
  if (unlink(path.c_str()) == 0 || errno == ENOENT) return true;
  faultNote_.tell("cannot remove " + path + ": " + std::strerror(errno));
  return false;
}

void FileQueue::forget(const QueuedFilePtr& file) {
  file->isGone = true;
  files_.erase(file->order.name);
}

void FileQueue::settle(const QueuedFilePtr& file) {
  if (--file->open > 0 || file->isGone) return;
  if (!file->refusals.empty()) {
    putAside(file);
  } else if (!remove(file->path)) {
    stuck_.insert(file->order.name);
  }
  forget(file);
}

/// Where a file goes that is set aside, without a place that is taken.
std::string FileQueue::placeAside(const std::string& name) const {
  std::string place = aside_ + "/" + name;
  std::error_code error;
  for (unsigned int n = 2; fs::exists(fs::symlink_status(place, error)); ++n) {
    place = aside_ + "/" + std::to_string(n) + "-" + name;
  }
  return place;
}

void FileQueue::putAside(const QueuedFilePtr& file) {
  int fault = mkdir(aside_.c_str(), 0777) == 0 || errno == EEXIST ? 0 : errno;
  const std::string place = placeAside(file->order.name);
  if (fault == 0 && rename(file->path.c_str(), place.c_str()) != 0) fault = errno;
  if (fault != 0) {
    asideNote_.tell("cannot set " + file->path + " aside: " + std::strerror(fault) +
                    "; it stays, and is not sent: " + file->refusals.front());
    stuck_.insert(file->order.name);
    return;
  }
  ++setAside_;
  const bool isTold = writeText(place + kReasonsEnding, file->refusals);
  asideNote_.tell("set aside as " + place + (isTold ? "" : " (the reason could not be written)") +
                  ": " + file->refusals.front());
}

void FileQueue::noteLoss(const std::string& name) {
  ++lost_;
  lossNote_.tell("lost " + name + ": the folder " + folder_ +
                 " has more bytes than it may have, and the oldest files go first");
}

void FileQueue::trim(std::uint64_t most) {
  std::map<FileOrder, QueuedFilePtr> all;
  std::uint64_t bytes = 0;
  for (const auto& [name, file] : files_) all.emplace(file->order, file);
  std::error_code error;
  for (const std::string& name : namesIn(aside_, error).value_or(std::vector<std::string>{})) {
    const QueuedFilePtr file = isFileOfLines(name) ? fileAt(aside_, name) : nullptr;
    if (file == nullptr) continue;
    file->unacknowledged = 1;
    all.emplace(file->order, file);
  }
  for (const auto& [order, file] : all) bytes += file->size;
  for (const auto& [order, file] : all) {
    if (bytes <= most) break;
    bytes -= file->size;
    if (!remove(file->path)) continue;  // it is sent, and takes no place from newer ones
    if (file->unacknowledged > 0) noteLoss(order.name);
    if (file->path.starts_with(aside_)) {
      remove(file->path + kReasonsEnding);
    } else {
      forget(file);
    }
  }
}

}  // namespace tavrin
