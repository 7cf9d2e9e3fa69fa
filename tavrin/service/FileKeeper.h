#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "packing/Packing.h"
#include "tavrin/common/RepeatedNote.h"
#include "tavrin/service/Rotation.h"

namespace tavrin {

/// Packs the finished files of a service and keeps them within their bounds, from a thread of its
/// own with the lowest priority. It begins with what earlier runs have left.
///
/// Room is made for each file before it comes: for twice the size of the last one, and for what is
/// being packed.
class FileKeeper {
 public:
  struct Settings {
    std::string folder;  ///< "" or ending in a separator
    std::string stem;    ///< of the names, without the start of a run
    KeepBounds bounds;
    std::optional<Packing> packing;
    bool sparesLines = false;  ///< files of lines belong to somebody else
  };

  explicit FileKeeper(const Settings& settings);
  /// Ends the thread, after the file that it packs.
  ~FileKeeper();
  FileKeeper(const FileKeeper&) = delete;
  FileKeeper& operator=(const FileKeeper&) = delete;

  /// Starts the thread.
  void start();
  /// Writer thread: a file of the run is about to be written.
  void makeRoom();
  /// Writer thread: a file of the run has got its name.
  void noteFile(const std::string& path);
  /// Does what is left to do, as far as it can begin in this time, ends the thread, and tells what
  /// became of the files.
  void finish(std::chrono::milliseconds patience);
  /// "12 files with 3.4 MB", from any thread.
  std::string status() const;

 private:
  void run();
  bool waitForWork();
  void lookAfterFiles();
  void packFiles(const RunFolder::Content& content);
  RunFolder::Content trim();
  void tellOfSmallBound();
  void end(std::chrono::milliseconds patience);

  const Settings settings_;
  std::mutex filesMutex_;  ///< for what follows up to the next empty line; locked first
  RunFolder files_;
  Rotation rotation_;
  std::uint64_t latestSize_ = 0;  ///< bytes; of the last file that came
  std::uint64_t packedSize_ = 0;  ///< bytes that the file may have that is being packed

  RepeatedNote packNote_;
  RepeatedNote smallNote_;
  mutable std::mutex mutex_;  ///< for all that follows
  std::condition_variable changed_;
  bool hasWork_ = true;
  bool isEnding_ = false;
  bool isHurried_ = false;
  bool hasEnded_ = false;  ///< the thread has nothing more to do
  std::size_t keptFiles_ = 0;
  std::uint64_t keptBytes_ = 0;
  std::thread thread_;
};

}  // namespace tavrin
