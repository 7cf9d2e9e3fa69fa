#include "writers/host/PluginEnvironment.h"

#include <cerrno>

#include "hostcommon/FileLogger.h"
#include "writers/host/HostFunctions.h"

namespace pwr {

Logger::~Logger() = default;

}  // namespace pwr

PluginEnvironment::PluginEnvironment() {
  setSinks(nullptr, nullptr);
}
PluginEnvironment::~PluginEnvironment() = default;

void PluginEnvironment::setSinks(std::shared_ptr<pwr::Logger> errorSink,
                                 std::shared_ptr<pwr::Logger> generalSink) {
  const auto orStandardError = [](std::shared_ptr<pwr::Logger> sink) {
    return sink ? std::move(sink) : std::make_shared<pwr::FileLogger>(stderr, false);
  };
  errorSink_ = orStandardError(std::move(errorSink));
  generalSink_ = orStandardError(std::move(generalSink));
}

pwr::Logger* PluginEnvironment::getLogger(PWLogLevel level) const {
  return (level == PW_LOG_ERROR ? errorSink_ : generalSink_).get();
}

const char* PluginEnvironment::getLoggerPrefix(PWLogLevel level) const {
  switch (level) {
    case PW_LOG_ERROR:
      return "ERROR";
    case PW_LOG_WARNING:
      return "WARNING";
    case PW_LOG_DEBUG:
      return "DEBUG";
    case PW_LOG_INFO:
      return "INFO";
    case PW_LOG_NOTE:
      break;
  }
  return "";
}

pwr::Logger* PluginEnvironment::getFileOutputHandle(const char* name) const {
  std::unique_ptr<pwr::Logger>& file = files_[name];
  auto* const open = static_cast<pwr::FileLogger*>(file.get());
  if (open == nullptr || !open->isOpen()) {
    FILE* stream = nullptr;
    if (!pwr::openFileHandle(&stream, name, "wb")) {
      const int cause = errno;
      files_.erase(name);
      errno = cause;
      return nullptr;
    }
    file = std::make_unique<pwr::FileLogger>(stream, true);
  }
  return file.get();
}

PluginEnvironment* g_pluginEnvironment = [] {
  static PluginEnvironment environment;
  return &environment;
}();
