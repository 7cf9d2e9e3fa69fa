#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tavrin {

/// The files of a run, as the writers tell of them. Only one at a time.
class WrittenFiles {
 public:
  /// Listens while it exists. Complete files that are `elsewhere` by the time of `tell` are left
  /// out.
  explicit WrittenFiles(std::function<bool(const std::string& path)> elsewhere = {});
  ~WrittenFiles();
  WrittenFiles(const WrittenFiles&) = delete;
  WrittenFiles& operator=(const WrittenFiles&) = delete;

  /// Tells the user what was written, and what of it is not complete.
  void tell() const;

 private:
  std::vector<std::string> complete_;
  std::vector<std::string> incomplete_;
};

/// The names in one line, sorted; three and more that differ in successive numbers only are a range
/// ("run_0 … run_999.ztbin").
std::string fileList(std::vector<std::string> names);

}  // namespace tavrin
