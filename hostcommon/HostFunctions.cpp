#include "writers/host/HostFunctions.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "hostcommon/Platform.h"

namespace pwr {

bool check_env(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr && *value != '\0' && std::string_view(value) != "0";
}

bool openFileHandle(FILE** out, const char* path, const char* mode) {
  *out = platform::openFile(path, mode);
  return *out != nullptr;
}

void pw_strerror(int errnum, char* buffer, unsigned long long size) {
  if (size == 0) return;
  pw_snprintf(buffer, static_cast<std::size_t>(size), "%s", platform::errorText(errnum).c_str());
}

}  // namespace pwr

int pw_snprintf(char* buffer, std::size_t size, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  return length;
}
