#include "writers/text/TempTableOutput.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <utility>

#include "hostcommon/Platform.h"
#include "writers/common/CsvText.h"
#include "writers/common/TextLog.h"
#include "writers/text/RecordReader.h"
#include "writers/text/ReportOutput.h"

namespace {

/// Causes that hit every further table as well: saying so once is enough.
struct KnownCause {
  int errnum;
  const char* report;
  bool reported = false;
};

void reportCreationFailure(const std::string& path, int errnum) {
  static std::array<KnownCause, 3> causes{{
      {EMFILE,
       "Warning: Could not post process metric data: Too many open file handles. Results may be "
       "incomplete for some metrics. Try post processing results with only one -r option at a "
       "time. If the problem persists; try collecting fewer metrics.\n"},
      {ENOSPC, "Warning: Could not generate result files. No space is left on the disk.\n"},
      {EROFS, "Warning: Could not generate result files. The file system is not writeable.\n"},
  }};
  const auto cause = std::ranges::find(causes, errnum, &KnownCause::errnum);
  if (cause == causes.end()) {
    PW_LOG(kPlainLog, PW_LOG_ERROR,
           "ERROR: Cannot create temp output file: %s. error: errnum=%d: %s\n", path.c_str(),
           errnum, systemErrorText(errnum).c_str());
  } else if (!cause->reported) {
    cause->reported = true;
    PW_LOG(kPlainLog, PW_LOG_ERROR, "%s", cause->report);
  }
}

/// A name that no other temporary output of the process has.
std::string nextFileName() {
  static int counter = 0;
  std::array<char, 32> name{};
  pw_snprintf(name.data(), name.size(), "tmp___%d", counter++);
  return name.data() + std::string(".tmp");
}

/// Appends to a file that is there already: one that somebody removed must not come back with a
/// part of its contents. Returns 0 or the errno value of the failure.
int appendToFile(const std::string& path, std::string_view bytes) {
  pwr::platform::PrivateFile file;
  const bool isWritten =
      file.extend(path) && file.write(bytes.data(), bytes.size()) && file.close();
  return isWritten ? 0 : errno;
}

}  // namespace

const std::string& PrivateDirectory::create() {
  if (!path_.empty() || failed_) return path_;
  path_ = pwr::platform::createPrivateDirectory(parent_);
  failed_ = path_.empty();
  if (failed_) reportCreationFailure(parent_, errno);
  return path_;
}

void PrivateDirectory::remove() {
  if (path_.empty()) return;
  pwr::platform::removePrivateDirectory(path_);
  path_.clear();
}

std::unique_ptr<TempTableOutput> TempTableOutput::create(PrivateDirectory& directory, Kind kind,
                                                         std::size_t cellsPerRow) {
  const std::string& folder = directory.create();
  if (folder.empty()) return nullptr;
  std::string path = folder + "/" + nextFileName();
  if (!pwr::platform::PrivateFile().create(path)) {
    reportCreationFailure(path, errno);
    return nullptr;
  }
  return std::unique_ptr<TempTableOutput>(new TempTableOutput(std::move(path), kind, cellsPerRow));
}

TempTableOutput::TempTableOutput(std::string path, Kind kind, std::size_t cellsPerRow)
    : path_(std::move(path)), kind_(kind), widths_(cellsPerRow) {}

TempTableOutput::~TempTableOutput() {
  pwr::platform::removeFile(path_);
}

void TempTableOutput::append(std::string_view cell) {
  if (writeError_ != 0) return;
  if (cell.size() > std::numeric_limits<std::uint32_t>::max()) {
    writeError_ = EFBIG;
    return;
  }
  const auto length = static_cast<std::uint32_t>(cell.size());
  pending_.append(reinterpret_cast<const char*>(&length), sizeof length);
  pending_.append(cell);
  widths_[position_] = std::max(widths_[position_], cell.size());
  position_ = (position_ + 1) % widths_.size();
  if (pending_.size() >= kPending) flush();
}

void TempTableOutput::flush() {
  if (pending_.empty() || writeError_ != 0) return;
  writeError_ = appendToFile(path_, std::exchange(pending_, {}));
}

void TempTableOutput::appendText(std::string_view text) {
  if (needsCsvQuotes(text)) {
    append(csvText(text));
  } else {
    append(text);
  }
}

int TempTableOutput::mergeInto(ReportOutput& report, std::string_view separator) const {
  RecordReader reader;
  if (!reader.open(path_)) return 1;
  report.setEcho(echo_);
  if (kind_ == Kind::Table) {
    report.append(title_);
    report.append("\n");
  }
  std::string_view cell;
  std::size_t position = 0;
  while (reader.next(cell)) {
    report.append(cell);
    if (kind_ == Kind::Table && cell.size() < widths_[position]) {
      report.pad(widths_[position] - cell.size());
    }
    ++position;
    const bool endsRow = position == widths_.size();
    report.append(endsRow ? "\n" : separator);
    if (endsRow) position = 0;
  }
  // A row that was cut off must not run into the next table.
  if (position != 0) report.append("\n");
  report.setEcho(false);
  return reader.hasFailed() ? 1 : 0;
}
