#include "hostcommon/FileLogger.h"

#include <cerrno>
#include <cstring>

namespace pwr {

FileLogger::~FileLogger() {
  FileLogger::close();
}

void FileLogger::log(PWLogLevel /*level*/, const char* line) {
  write(line, std::strlen(line));
}

int FileLogger::write(const void* bytes, std::size_t count) {
  if (stream_ == nullptr) return 1;
  if (std::fwrite(bytes, 1, count, stream_) != count) failed_ = true;
  return failed_ ? 1 : 0;
}

int FileLogger::flush() {
  if (stream_ == nullptr) return 1;
  if (std::fflush(stream_) != 0) failed_ = true;
  return failed_ ? 1 : 0;
}

int FileLogger::close() {
  if (stream_ == nullptr) return 1;
  const int status = FileLogger::flush();
  if (owned_ && std::fclose(stream_) != 0) failed_ = true;
  stream_ = nullptr;
  return status != 0 || failed_ ? 1 : 0;
}

void OutputFileLogger::log(PWLogLevel /*level*/, const char* line) {
  write(line, std::strlen(line));
}

int OutputFileLogger::write(const void* bytes, std::size_t count) {
  if (!file_.isOpen()) return 1;
  return file_.write({static_cast<const char*>(bytes), count}) ? 0 : 1;
}

int OutputFileLogger::flush() {
  if (!file_.isOpen()) return 1;
  if (std::fflush(file_.stream()) != 0) file_.noteFailure(errno);
  return file_.isComplete() ? 0 : 1;
}

int OutputFileLogger::close() {
  return file_.close();
}

}  // namespace pwr
