#include "writers/host/PluginEnvironment.h"

#include "hostcommon/FileLogger.h"
#include "hostcommon/OutputFileLogger.h"

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
  std::erase_if(files_, [](const auto& file) { return !file.second->isOpen(); });
  const auto known = files_.find(name);
  if (known != files_.end()) return known->second.get();
  auto file = std::make_unique<pwr::OutputFileLogger>();
  if (!file->open(name)) return nullptr;
  return files_.emplace(name, std::move(file)).first->second.get();
}

void PluginEnvironment::noteOutput(const std::string& path, bool isComplete) const {
  if (outputListener_) outputListener_(path, isComplete);
}

PluginEnvironment* g_pluginEnvironment = [] {
  static PluginEnvironment environment;
  return &environment;
}();
