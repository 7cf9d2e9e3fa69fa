#include "writers/continuous/OutputFile.h"

#include "writers/host/Logger.h"
#include "writers/host/PluginEnvironment.h"

std::string wholeFileName(const std::string& name) {
  constexpr std::size_t kMostBytes = 1023;
  return name.size() <= kMostBytes ? name : std::string();
}

int writeOutputFile(const std::string& name, std::string_view text) {
  if (name.empty()) return 1;
  pwr::Logger* const file = g_pluginEnvironment->getFileOutputHandle(name.c_str());
  if (file == nullptr) return 1;
  file->write(text.data(), text.size());
  // A failure of the write stays with the handle until it is closed.
  return file->close();
}
