#include "tavrin/service/FileKeeper.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>

#include "tavrin/common/Messages.h"
#include "tavrin/service/FilePacker.h"

namespace tavrin {

namespace {

/// Files grow old also when none comes.
constexpr std::chrono::minutes kLookPeriod{5};

/// On Linux priorities are those of threads.
void lowerPriority() {
  constexpr int kLowest = 19;
  setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kLowest);
}

std::uint64_t sizeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

}  // namespace

FileKeeper::FileKeeper(const Settings& settings)
    : settings_(settings),
      files_(settings.folder, settings.stem, settings.sparesLines),
      rotation_(files_, settings.bounds) {}

FileKeeper::~FileKeeper() {
  end(std::chrono::milliseconds(0));
}

void FileKeeper::start() {
  thread_ = std::thread([this] { run(); });
}

void FileKeeper::makeRoom() {
  const std::lock_guard lock(filesMutex_);
  trim();
}

void FileKeeper::noteFile(const std::string& path) {
  if (const std::uint64_t size = sizeOf(path); size > 0) {
    const std::lock_guard lock(filesMutex_);
    latestSize_ = size;
    tellOfSmallBound();
  }
  {
    const std::lock_guard lock(mutex_);
    hasWork_ = true;
  }
  changed_.notify_all();
}

/// Room for the next file takes twice the size of the last one.
void FileKeeper::tellOfSmallBound() {
  if (settings_.bounds.bytes == 0 || settings_.bounds.bytes > 3 * latestSize_) return;
  smallNote_.tell("--keep has room for fewer than three files like the last one, of " +
                  std::to_string(latestSize_) + " bytes: they are removed at once");
}

void FileKeeper::end(std::chrono::milliseconds patience) {
  if (!thread_.joinable()) return;
  {
    std::unique_lock lock(mutex_);
    isEnding_ = true;
    changed_.notify_all();
    changed_.wait_for(lock, patience, [this] { return hasEnded_; });
    isHurried_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void FileKeeper::finish(std::chrono::milliseconds patience) {
  end(patience);
  const std::string removed =
      rotation_.removed() == 0 ? "" : "; removed " + std::to_string(rotation_.removed()) + " files";
  inform("kept " + status() + removed);
}

std::string FileKeeper::status() const {
  const std::lock_guard lock(mutex_);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%zu files with %.1f MB", keptFiles_,
                static_cast<double>(keptBytes_) / 1e6);
  return text.data();
}

/// False when the thread shall end, and everything is done.
bool FileKeeper::waitForWork() {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, kLookPeriod, [this] { return hasWork_ || isEnding_; });
  if (isHurried_ || (isEnding_ && !hasWork_)) return false;
  hasWork_ = false;
  return true;
}

void FileKeeper::run() {
  lowerPriority();
  while (waitForWork()) lookAfterFiles();
  {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
  }
  changed_.notify_all();
}

void FileKeeper::lookAfterFiles() {
  RunFolder::Content content;
  {
    const std::lock_guard lock(filesMutex_);
    content = trim();
  }
  if (!settings_.packing) return;
  packFiles(content);
  const std::lock_guard lock(filesMutex_);
  packedSize_ = 0;
  trim();
}

void FileKeeper::packFiles(const RunFolder::Content& content) {
  for (const RunFolder::File& file : content.files) {
    if (!file.isNumbered) continue;
    {
      const std::lock_guard lock(mutex_);
      if (isHurried_) return;
    }
    {
      const std::lock_guard lock(filesMutex_);
      packedSize_ = file.size;
      trim();
    }
    std::string error;
    const std::string path = files_.pathOf(file);
    const bool isPacked = packFile(path, *settings_.packing, error);
    if (!isPacked && sizeOf(path) > 0) packNote_.tell(error);  // it may have had to go
  }
}

/// With `filesMutex_` locked.
RunFolder::Content FileKeeper::trim() {
  RunFolder::Content content =
      rotation_.trim(std::chrono::system_clock::now(), 2 * latestSize_ + packedSize_);
  const std::lock_guard lock(mutex_);
  keptFiles_ = content.files.size();
  keptBytes_ = content.bytes;
  return content;
}

}  // namespace tavrin
