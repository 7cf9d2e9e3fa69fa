#include "writers/text/AutomationLine.h"

#include <array>
#include <cerrno>
#include <locale>
#include <sstream>
#include <string_view>
#include <utility>

#include "hostcommon/Platform.h"
#include "hostcommon/Utf8Text.h"
#include "writers/common/CsvText.h"
#include "writers/common/TextLog.h"

namespace {

/// Six significant digits, whatever the locale.
std::string durationText(double seconds) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << seconds;
  return text.str();
}

std::string lineOf(const std::vector<std::string>& cells) {
  std::string line;
  for (const std::string& cell : cells) line += csvText(cell) + ",";
  return line;
}

/// Everything up to the last separator of folders. The slash and the backslash count on every
/// system.
std::string directoryPartOf(const std::string& baseName) {
  const std::size_t separator = baseName.find_last_of("/\\");
  return separator == std::string::npos ? std::string() : baseName.substr(0, separator + 1);
}

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

AutomationLine::AutomationLine(const std::string& baseName, const TimeScale& timeScale)
    : path_(directoryPartOf(baseName) + kFileName), timeScale_(timeScale) {
  addColumn("Output_Name", pwr::validUtf8(baseName));
}

void AutomationLine::addColumn(std::string name, std::string value) {
  names_.push_back(std::move(name));
  values_.push_back(std::move(value));
}

int AutomationLine::write(const pwr::SystemMessage& message) {
  if (metadata_ == nullptr) {
    systemColumn_ = names_.size();
    addColumn("Collection_Time", "");
    addColumn("Duration (sec)", "");
  }
  metadata_ = message.getSystemMetadata();
  timeScale_.setTicksPerMicrosecond(metadata_->getTscFrequencyMHz());
  return 0;
}

int AutomationLine::close() {
  // The lines of other runs stand in that file: one that lacks something is not put among them.
  if (g_pluginEnvironment->isRunIncomplete()) return 1;
  if (metadata_ != nullptr) {
    values_[systemColumn_] = metadata_->getCollectionStartTime();
    values_[systemColumn_ + 1] = durationText(metadata_->getCollectionDurationSec());
  }
  if (append_i(lineOf(names_), lineOf(values_)) != 0) return 1;
  g_pluginEnvironment->noteOutput(path_, true);
  return 0;
}

int AutomationLine::append_i(const std::string& header, const std::string& values) const {
  pwr::platform::SharedFile file;
  if (!file.open(path_)) {
    PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not open automation summary file.\n");
    return 1;
  }
  if (file.getLockError() != 0) {
    PW_LOG(kPlainLog, PW_LOG_WARNING,
           "WARNING: Could not lock %s: %s. A run that ends at the same moment may put its header "
           "above this line.\n",
           path_.c_str(), systemErrorText(file.getLockError()).c_str());
  }
  const std::string headerLine = header + "\n";
  HeaderSearch search(headerLine);
  std::array<char, std::size_t{64} * 1024> piece{};
  long long length = 0;
  while ((length = file.read(piece.data(), piece.size())) > 0) {
    search.take({piece.data(), static_cast<std::size_t>(length)});
  }
  if (length < 0) return fail_i("read");
  // A line that a crash or an editor left without its end must not swallow this one.
  std::string addition = search.finish() ? "\n" : "";
  if (!search.found()) addition += headerLine;
  addition += values + "\n";
  if (!file.append(addition)) return fail_i("extend");
  return file.close() ? 0 : fail_i("close");
}

int AutomationLine::fail_i(const char* action) const {
  PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not %s %s: %s. The line of this run is missing.\n",
         action, path_.c_str(), systemErrorText(errno).c_str());
  return 1;
}
