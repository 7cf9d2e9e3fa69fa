#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// The folder below which the kernel's files are looked for: the machine's own root, or a copy of
/// the files of some machine. Paths begin with "/" and are relative to it; symbolic links are
/// followed, so those of a copy must be relative (as the kernel's are).
class SysRoot {
 public:
  /// "" is the machine itself.
  explicit SysRoot(std::string root = "") : root_(std::move(root)) {}

  /// False for a copy, about which the running kernel knows nothing.
  bool isThisMachine() const { return root_.empty(); }
  /// What the process has to open.
  std::string path(std::string_view inside) const { return root_ + std::string(inside); }

  /// The whole file. Returns 0, or the errno of the failure (ENODATA for an empty file), leaving
  /// `text` alone.
  int readText(std::string_view inside, std::string& text) const;
  /// The same for the number with which a file starts; EINVAL when it does not.
  int readNumber(std::string_view inside, unsigned long long& value) const;
  int readNumber(std::string_view inside, long long& value) const;
  /// The first line without the blanks around it; "" when the file cannot be read.
  std::string readLine(std::string_view inside) const;

  /// Names in the folder, without "." and "..": "cpu2" before "cpu10". Empty when it cannot be
  /// read.
  std::vector<std::string> list(std::string_view folder) const;
  /// Ascending numbers N of the names in the folder that are `prefix` + N + `suffix`.
  std::vector<unsigned int> listNumbered(std::string_view folder, std::string_view prefix,
                                         std::string_view suffix = "") const;

 private:
  std::string root_;
};

}  // namespace tavrin
