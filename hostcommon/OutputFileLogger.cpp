#include "hostcommon/OutputFileLogger.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace pwr {

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
