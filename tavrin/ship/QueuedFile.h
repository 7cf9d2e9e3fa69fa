#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// The order in which files are sent: by the time when they came about, those of the same time by
/// their names, in which numbers count as numbers ("run_9" comes before "run_10").
struct FileOrder {
  std::int64_t modified = 0;  ///< nanoseconds since 1970
  std::string name;

  bool operator<(const FileOrder& other) const;
};

/// Compares names as `FileOrder` does.
bool isNameBefore(std::string_view one, std::string_view other);

/// A file that lies in the folder to be sent.
struct QueuedFile {
  FileOrder order;
  std::string path;
  std::uint64_t size = 0;
  std::uint64_t inode = 0;
  unsigned int unacknowledged = 0;      ///< destinations that have not yet acknowledged it
  unsigned int open = 0;                ///< destinations that still need it
  std::vector<std::string> refusals{};  ///< why it is to be set aside, of whichever destination
  bool isGone = false;                  ///< it lies there no more, or is another one by now
};
using QueuedFilePtr = std::shared_ptr<QueuedFile>;

}  // namespace tavrin
