#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tavrin/common/RepeatedNote.h"

namespace tavrin {

/// The files that the runs of a service have left in a folder, those of earlier ones among them:
/// whatever begins with the stem and the start of a run.
class RunFolder {
 public:
  using Time = std::chrono::system_clock::time_point;

  struct File {
    std::string name;
    Time modified;
    std::uint64_t size = 0;   ///< bytes
    bool isNumbered = false;  ///< a period of a continuous run, complete and not packed
  };
  struct Content {
    std::vector<File> files;  ///< the oldest first; before them those that are from the future
    std::uint64_t bytes = 0;  ///< of all files, and of what is being written in the folder
  };

  /// `folder` is "" for the current directory, else it ends in a separator. `sparesLines`: files of
  /// lines belong to somebody else.
  RunFolder(std::string folder, std::string stem, bool sparesLines);

  /// Looks at the folder. What a process that was killed has left half-written, under a private
  /// name, is removed: nobody has it open, and it has not changed for a minute before `now`.
  Content look(Time now);
  /// Removes a file; false when it stays, which is told.
  bool remove(const File& file);

  std::string pathOf(const File& file) const { return folder_ + file.name; }

 private:
  bool isAbandoned(const File& file, Time now) const;

  const std::string folder_;
  const std::string stem_;
  const bool sparesLines_;
  RepeatedNote faultNote_;
};

}  // namespace tavrin
