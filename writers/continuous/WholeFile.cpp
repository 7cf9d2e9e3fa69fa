#include "writers/continuous/WholeFile.h"

#include <cerrno>

#include "writers/common/TextLog.h"
#include "writers/host/PluginEnvironment.h"

namespace {

constexpr std::size_t kMostNameBytes = 1023;

pwr::Logger* openHandle(const std::string& name) {
  if (name.size() > kMostNameBytes) {
    errno = ENAMETOOLONG;
    return nullptr;
  }
  return g_pluginEnvironment->getFileOutputHandle(name.c_str());
}

}  // namespace

bool writeWholeFile(const std::string& name, Unfinished unfinished,
                    const std::function<bool(pwr::Logger&)>& write) {
  pwr::Logger* const file = openHandle(name);
  if (file == nullptr) {
    reportUnwritten(name, unfinished, systemErrorText(errno));
    return false;
  }
  if ((write(*file) && file->flush() == 0) || unfinished == Unfinished::Kept) {
    // The host tells of a file that is not complete.
    return file->close() == 0;
  }
  const std::string cause = systemErrorText(errno);
  file->discard();
  reportUnwritten(name, unfinished, cause);
  return false;
}

void reportUnwritten(const std::string& name, Unfinished unfinished, const std::string& cause) {
  const bool isLater = unfinished == Unfinished::Discarded;
  PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not write %s: %s.%s\n", name.c_str(), cause.c_str(),
         isLater ? " Its points are kept for the next file." : "");
}

std::string numberedFileName(const std::string& baseName, int number, const char* ending) {
  return baseName + "_" + std::to_string(number) + ending;
}
