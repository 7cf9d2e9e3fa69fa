#include "writers/text/AutomationFile.h"

#include <array>
#include <cerrno>
#include <string_view>

#include "hostcommon/Platform.h"
#include "writers/common/TextLog.h"

namespace {

/// Reads a file piece by piece and tells how its last header compares with an expected one. It
/// keeps a line at a time, because the file grows with every run.
class HeaderSearch {
 public:
  /// `expected`: with its end of line.
  explicit HeaderSearch(std::string_view expected) : expected_(expected) {}

  void take(std::string_view piece) {
    for (;;) {
      const std::size_t end = piece.find('\n');
      line_.append(piece.substr(0, end));
      if (end == std::string_view::npos) return;
      endLine();
      piece.remove_prefix(end + 1);
    }
  }

  /// Call when all was taken. Returns whether the file ends within a line.
  bool finish() {
    const bool withinLine = !line_.empty();
    if (withinLine) endLine();
    return withinLine;
  }

  bool found() const { return found_; }

 private:
  // Quoted names with line breaks spread a header over several lines, which must follow each other.
  void endLine() {
    line_ += '\n';
    if (line_.starts_with("Output_Name")) {
      found_ = false;
      rest_ = expected_;
    }
    if (rest_.starts_with(line_)) {
      rest_.remove_prefix(line_.size());
      found_ = rest_.empty();
    } else {
      rest_ = {};
    }
    line_.clear();
  }

  const std::string_view expected_;
  std::string_view rest_;  // of the expected header, behind the lines that agree with it
  std::string line_;
  bool found_ = false;
};

}  // namespace

int AutomationFile::add(const std::string& header, const std::string& values) const {
  pwr::platform::SharedFile file;
  if (!file.open(path_)) {
    PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not open automation summary file.\n");
    return 1;
  }
  const std::string headerLine = header + "\n";
  HeaderSearch search(headerLine);
  std::array<char, std::size_t{64} * 1024> piece{};
  long long length = 0;
  while ((length = file.read(piece.data(), piece.size())) > 0) {
    search.take({piece.data(), static_cast<std::size_t>(length)});
  }
  if (length < 0) return fail("read");
  // A line that a crash or an editor left without its end must not swallow this one.
  std::string addition = search.finish() ? "\n" : "";
  if (!search.found()) addition += headerLine;
  addition += values + "\n";
  if (!file.append(addition)) return fail("extend");
  return file.close() ? 0 : fail("close");
}

int AutomationFile::fail(const char* action) const {
  PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not %s %s: %s. The line of this run is missing.\n",
         action, path_.c_str(), systemErrorText(errno).c_str());
  return 1;
}
