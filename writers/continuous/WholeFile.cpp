#include "writers/continuous/WholeFile.h"

#include <cerrno>
#include <new>

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

void reportUnwritten(const std::string& name, Unfinished unfinished, const std::string& cause) {
  const bool isLater = unfinished == Unfinished::Discarded;
  PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not write %s: %s.%s\n", name.c_str(), cause.c_str(),
         isLater ? " Its points are kept for the next file." : "");
}

}  // namespace

bool writeWholeFile(const std::string& name, Unfinished unfinished,
                    const std::function<bool(pwr::Logger&)>& write) {
  pwr::Logger* const file = openHandle(name);
  if (file != nullptr) {
    try {
      const bool isWritten = write(*file) && file->flush() == 0;
      // The host tells of a file that is not complete.
      if (isWritten || unfinished == Unfinished::Kept) return file->close() == 0;
    } catch (const std::bad_alloc&) {
      errno = ENOMEM;
    }
  }
  const std::string cause = systemErrorText(errno);
  if (file != nullptr) file->discard();
  reportUnwritten(name, unfinished, cause);
  return false;
}

std::string numberedFileName(const std::string& baseName, int number, const char* ending) {
  return baseName + "_" + std::to_string(number) + ending;
}
