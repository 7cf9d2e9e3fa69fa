#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// A small file of the kernel that is read again and again. It stays open between the reads, each
/// of which starts at the front, and is closed by a read that fails; the next one opens it anew. So
/// does each read of the files beyond three quarters of those that the process may have open: the
/// outputs need some too. Reading allocates nothing once the file has been opened and its longest
/// text has been seen.
class OpenFile {
 public:
  /// Opens nothing yet. `path` is what the process sees, any root included.
  explicit OpenFile(std::string path) : path_(std::move(path)) {}
  ~OpenFile();
  OpenFile(OpenFile&& other) noexcept;
  OpenFile& operator=(OpenFile&& other) noexcept;

  const std::string& path() const { return path_; }
  /// Whether any file could not stay open so far.
  static bool wereTooMany();

  /// Each returns 0, or the errno of the failure: ENODATA when the file is empty, EINVAL when it
  /// does not start with a number that fits. The arguments are untouched then.

  /// The whole text; valid until the next read.
  int readText(std::string_view& text);
  int readNumber(unsigned long long& value) { return readAnyNumber(value); }
  int readNumber(long long& value) { return readAnyNumber(value); }

 private:
  template <typename Number>
  int readAnyNumber(Number& value);
  int open();
  int finish(int error);
  int readAt(char* buffer, std::size_t size, std::size_t offset, std::size_t& length);
  void close();

  std::string path_;
  int descriptor_ = -1;
  bool staysOpen_ = true;  // as of when it was opened
  std::vector<char> buffer_;
};

}  // namespace tavrin
