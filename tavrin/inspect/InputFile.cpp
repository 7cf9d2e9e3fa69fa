#include "tavrin/inspect/InputFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "hostcommon/Utf8Path.h"
#include "readers/PlainText.h"
#include "tavrin/common/CommandError.h"

namespace tavrin {

std::ifstream openFile(const std::string& name) {
  const std::filesystem::path path = pwr::pathFromUtf8(name);
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    throw CommandError(kExitIncomplete, "cannot read " + name + ": it is a folder");
  }
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw CommandError(kExitIncomplete,
                       "cannot read " + name + ": " + std::generic_category().message(errno));
  }
  return file;
}

void rejectFile(const std::string& name, const std::exception& fault) {
  std::fflush(stdout);
  throw CommandError(kExitIncomplete, name + ": " + printable(fault.what()));
}

}  // namespace tavrin
