#include "writers/columns/TableFile.h"

#include <cerrno>
#include <cinttypes>

#include "writers/columns/ColumnStore.h"
#include "writers/common/TextLog.h"

TableFile::~TableFile() {
  if (stream_ != nullptr) std::fclose(stream_);
}

int TableFile::open(const std::string& baseName) {
  path_ = baseName + extension_;
  complete_ = true;
  errnum_ = 0;
  lostSamples_ = 0;
  if (!pwr::openFileHandle(&stream_, path_.c_str(), "wb")) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Could not create %s\n", path_.c_str());
    return 1;
  }
  // Tables come in large pieces, which a buffer of the stream would only divide.
  std::setvbuf(stream_, nullptr, _IONBF, 0);
  return 0;
}

int TableFile::print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stream_) == text.size()) return 0;
  errnum_ = errno;
  return 1;
}

int TableFile::print(ColumnStore& table, bool leadingNewline) {
  if (table.writeTo(stream_, ",", leadingNewline) == 0) return 0;
  complete_ = false;
  return 1;
}

void TableFile::noteLostSample(const std::string& title) {
  PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Failed to initialize buffer.\n");
  if (lostSamples_++ == 0) firstLostTitle_ = title;
}

int TableFile::close() {
  if (stream_ == nullptr) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Output file %s does not exist\n", path_.c_str());
    return 1;
  }
  const bool closed = std::fclose(stream_) == 0;
  if (!closed && errnum_ == 0) errnum_ = errno;
  stream_ = nullptr;
  if (!closed || errnum_ != 0) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Could not write %s completely: %s\n", path_.c_str(),
           systemErrorText(errnum_).c_str());
    complete_ = false;
  }
  reportLosses();
  return complete_ ? 0 : 1;
}

void TableFile::reportLosses() {
  if (lostSamples_ == 0) return;
  complete_ = false;
  PW_LOG(kTextLog, PW_LOG_WARNING,
         "WARNING: %s lacks %" PRIu64
         " values of tables that no temporary file could be made for, the first of them \"%s\". "
         "More open files or space on the disk may be needed.\n",
         path_.c_str(), lostSamples_, firstLostTitle_.c_str());
}
