// The output configuration. A file that is refused is refused with a cause, and one that is taken
// answers every question about what it names.

#include "fuzz/FuzzTarget.h"
#include "hostcommon/OutputConfigFile.h"
#include "writers/host/WriterInterfaceConfigFileParser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::QuietLog log(size);
  fuzz::workFolder().write("config.toml", std::string(data, data + size));
  std::string error;
  const int status = pwr::loadOutputConfigFile("config.toml", error);
  if ((status == 0) != error.empty()) std::abort();
  pwr::unloadOutputConfigFile();
  return 0;
}
