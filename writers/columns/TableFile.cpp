#include "writers/columns/TableFile.h"

#include <cinttypes>

#include "writers/columns/ColumnStore.h"
#include "writers/common/TextLog.h"

namespace {

const char* const kNoBuffer = "WARNING: Failed to initialize buffer.\n";

/// Temporary files lie in the current folder, wherever the output is.
bool canMakeStores() {
  try {
    const pwr::ZtExtensibleBackingStore attempt;
    return true;
  } catch (const char*) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "%s", kNoBuffer);
    return false;
  }
}

}  // namespace

bool createOutput(pwr::OutputFile& file, const std::string& path) {
  if (file.open(path)) return true;
  PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Could not create %s\n", path.c_str());
  return false;
}

bool TableFile::open(const std::string& path) {
  return createOutput(file_, path) && canMakeStores();
}

void TableFile::noteRefusal(int errnum) {
  PW_LOG(kTextLog, PW_LOG_WARNING, "%s", kNoBuffer);
  refusal_ = errnum;
  nextAttempt_ = 2 * (refusedTables_ + 1);
}

void TableFile::noteRefusedTable(const std::string& title) {
  if (refusedTables_++ == 0) firstRefused_ = title;
  PW_LOG(kTextLog, PW_LOG_DEBUG, "DEBUG: The table %s is left out: %s\n", title.c_str(),
         systemErrorText(refusal_).c_str());
}

int TableFile::print(ColumnStore& table, bool leadingNewline) {
  if (table.writeTo(file_.stream(), ",", leadingNewline) == 0) return 0;
  file_.noteLoss();
  return 1;
}

int TableFile::close() {
  if (refusedTables_ > 0) reportLosses();
  return file_.close();
}

void TableFile::reportLosses() {
  file_.noteLoss();
  PW_LOG(kTextLog, PW_LOG_WARNING,
         "WARNING: %s lacks %" PRIu64 " tables with %" PRIu64
         " values, for which there was no temporary file: %s. The first of them is \"%s\".\n",
         file_.getPath().c_str(), refusedTables_, lostValues_, systemErrorText(refusal_).c_str(),
         firstRefused_.c_str());
}
