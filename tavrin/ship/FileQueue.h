#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tavrin/common/RepeatedNote.h"
#include "tavrin/ship/QueuedFile.h"

namespace tavrin {

/// The folder whose files are sent. It has them to itself: two queues of one folder would send
/// everything twice.
///
/// A file that a destination refuses goes to the folder "rejected" below, with the reasons beside
/// it in NAME.txt.
class FileQueue {
 public:
  /// Which names are those of files to send.
  using Choice = std::function<bool(const std::string& name)>;

  /// Throws CommandError when the folder cannot be had, or belongs to another queue.
  FileQueue(std::string folder, unsigned int destinations, Choice choice);
  ~FileQueue();
  FileQueue(const FileQueue&) = delete;
  FileQueue& operator=(const FileQueue&) = delete;

  /// Looks into the folder. Returns the files that are new, of which each destination has to be
  /// told; those that are not there any more are gone.
  std::vector<QueuedFilePtr> scan();
  /// Removes the oldest files, refused ones among them, until there are no more than `most` bytes.
  void trim(std::uint64_t most);

  /// A destination has the file for good, or will not take it for the reasons in `refusals`. When
  /// that was the last one the file is removed, or set aside.
  void settle(const QueuedFilePtr& file);

  const std::string& folder() const { return folder_; }
  std::uint64_t lost() const { return lost_; }          ///< files, by the bound
  std::uint64_t setAside() const { return setAside_; }  ///< files
  /// Files that lie there.
  std::size_t size() const { return files_.size(); }
  /// Those of them that not every destination has acknowledged.
  std::size_t unacknowledged() const;
  /// Files that no destination needs any more, but which could not be taken away.
  std::size_t stuck() const { return stuck_.size(); }

 private:
  using Names = std::map<std::string, QueuedFilePtr, std::less<>>;

  QueuedFilePtr lookAt(const std::string& name) const;
  bool remove(const std::string& path);
  void forget(const QueuedFilePtr& file);
  void putAside(const QueuedFilePtr& file);
  std::string placeAside(const std::string& name) const;
  void noteLoss(const std::string& name);

  const std::string folder_;
  const std::string aside_;  ///< folder
  const unsigned int destinations_;
  const Choice choice_;
  int lock_ = -1;
  Names files_;
  std::set<std::string> stuck_;
  std::uint64_t lost_ = 0;
  std::uint64_t setAside_ = 0;
  RepeatedNote lossNote_;
  RepeatedNote asideNote_;
  RepeatedNote faultNote_;
};

/// Whether a name is that of a file of lines: it ends in ".lp" or ".lp.gz".
bool isFileOfLines(const std::string& name);

}  // namespace tavrin
