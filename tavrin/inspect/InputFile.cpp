#include "tavrin/inspect/InputFile.h"

#include <cstdio>

#include "hostcommon/Utf8Path.h"
#include "readers/PlainText.h"
#include "tavrin/common/CommandError.h"

namespace tavrin {

std::ifstream openFile(const std::string& name) {
  std::ifstream file(pwr::pathFromUtf8(name), std::ios::binary);
  if (!file) throw CommandError(kExitIncomplete, "cannot read " + name);
  return file;
}

void rejectFile(const std::string& name, const std::exception& fault) {
  std::fflush(stdout);
  throw CommandError(kExitIncomplete, name + ": " + printable(fault.what()));
}

}  // namespace tavrin
