#include "writers/common/WriterLog.h"

#include <cstdarg>
#include <cstdio>
#include <memory>

void WriterLog::write(PWLogLevel level, const char* format, ...) const {
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  const std::size_t size = length < 0 ? 1 : static_cast<std::size_t>(length) + 1;
  const auto line = std::make_unique<char[]>(size);
  std::vsnprintf(line.get(), size, format, arguments);
  va_end(arguments);
  g_pluginEnvironment->getLogger(level)->log(level, line.get());
}
