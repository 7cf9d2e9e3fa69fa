#include "hostcommon/FileLogger.h"

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

}  // namespace pwr
