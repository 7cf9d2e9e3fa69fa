#pragma once

#include <cstdio>
#include <string>

namespace pwr {

/// A file that appears under its name only when it is complete: until then it has a private name in
/// the same folder, and what had the name before stays as it was. The private name is known to the
/// host, which removes the file when the run is aborted.
///
/// What is no regular file (a console, a pipe, a device) is written directly. A link under the name
/// is replaced, never followed.
///
/// The process may change its directory while a file is open. Paths are UTF-8. Operations that
/// return false set errno.
class StagedFile {
 public:
  StagedFile() = default;
  /// Discards the file, if nothing else became of it.
  ~StagedFile() { discard(); }
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;

  /// Creates the file that will be `path`. Call while none is open.
  bool open(const std::string& path);
  bool isOpen() const { return stream_ != nullptr; }
  /// To write with; null unless the file is open. Never closed by the caller.
  FILE* stream() const { return stream_; }
  /// The name that the file will have: that of the latest `open`.
  const std::string& getPath() const { return path_; }

  /// Closes the file and gives it its name. After a failure, what there is of it waits for one of
  /// the two operations below.
  bool commit();
  /// Closes a file that lacks something and names it `incompletePath()`. False when it has no byte,
  /// or that name cannot be had: the file is deleted then.
  bool keepIncomplete();
  /// Closes the file and deletes it.
  void discard();

  /// Where `keepIncomplete` leaves the file: the path followed by ".incomplete", or the path itself
  /// for what is written directly.
  std::string incompletePath() const { return isDirect_ ? path_ : path_ + kIncomplete; }

 private:
  static constexpr const char* kIncomplete = ".incomplete";

  bool close_i();
  void forget_i();

  FILE* stream_ = nullptr;
  std::string path_;
  std::string finalPath_;    // absolute, as the private one is
  std::string privatePath_;  // "" when there is no file under a private name
  bool isDirect_ = false;
};

}  // namespace pwr
