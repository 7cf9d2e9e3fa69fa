#pragma once

#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// A small file of the kernel that is read again and again. It stays open between the reads, each
/// of which starts at the front, and is closed by a read that fails; the next one opens it anew. So
/// does each read of the files beyond those that the process may have open, of which the outputs
/// need some too: who has many of these reads them by turns (`Turns`). Reading allocates nothing
/// once the file has been opened and its longest text has been seen.
class OpenFile {
 public:
  /// How often a file is read. Those that are read rarely stay open only while open files are few;
  /// one that is read once is closed with the object.
  enum class Use { EveryPass, Rare, Once };

  /// Opens nothing yet. `path` is what the process sees, any root included.
  explicit OpenFile(std::string path, Use use = Use::EveryPass)
      : path_(std::move(path)), use_(use) {}
  ~OpenFile();
  OpenFile(OpenFile&& other) noexcept;
  OpenFile& operator=(OpenFile&& other) noexcept;

  const std::string& path() const { return path_; }
  /// Whether the file can be opened. Its value may come later: that of a sleeping device, for
  /// example.
  static bool isReadable(const std::string& path);
  /// How many files there are now that are read in every pass and cannot stay open.
  static unsigned long long countBeyondLimit();
  /// Whether it stays open between the reads: known once it has been opened, true until then.
  bool staysOpen() const { return place_ != Place::BeyondLimit; }
  /// Opens the file ahead of its first read, if it stays open. Returns 0 or the errno of the
  /// failure.
  int openAhead() { return finish(open()); }

  /// Whether a read failed with `error` because what the file was about is gone. A file that is
  /// found under the name later may be about something else.
  static bool isGone(int error) { return error == ENOENT || error == ENODEV; }

  /// Each returns 0, or the errno of the failure: ENODATA when the file is empty, EINVAL when it
  /// does not start with a number that fits. The arguments are untouched then.

  /// The whole text; valid until the next read.
  int readText(std::string_view& text);
  int readNumber(unsigned long long& value) { return readAnyNumber(value); }
  int readNumber(long long& value) { return readAnyNumber(value); }

 private:
  template <typename Number>
  int readAnyNumber(Number& value);
  /// What the first opening has decided for as long as the file is wanted.
  enum class Place { Undecided, KeptOpen, BeyondLimit };

  int open();
  void takePlace();
  int finish(int error);
  int readAt(char* buffer, std::size_t size, std::size_t offset, std::size_t& length);
  void close();

  std::string path_;
  int descriptor_ = -1;
  Use use_ = Use::EveryPass;
  Place place_ = Place::Undecided;
  std::vector<char> buffer_;
};

}  // namespace tavrin
