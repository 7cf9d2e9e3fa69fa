#include "hostcommon/HostLog.h"

#include "writers/host/PluginEnvironment.h"

namespace pwr {

namespace {

void say(PWLogLevel threshold, const std::string& line) {
  if (g_pluginEnvironment->getVerbosity() < threshold) return;
  g_pluginEnvironment->getLogger(threshold)->log(threshold, (line + "\n").c_str());
}

}  // namespace

void fail(const std::string& text) {
  say(PW_LOG_NOTE, "tavrin: error: " + text);
}
void warn(const std::string& text) {
  say(PW_LOG_WARNING, "tavrin: warning: " + text);
}
void inform(const std::string& text) {
  say(PW_LOG_ERROR, "tavrin: " + text);
}

}  // namespace pwr
