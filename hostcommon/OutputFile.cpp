#include "hostcommon/OutputFile.h"

#include <cerrno>

#include "hostcommon/Platform.h"
#include "writers/host/PluginEnvironment.h"

namespace pwr {

bool OutputFile::open(const std::string& path) {
  isComplete_ = true;
  errnum_ = 0;
  return file_.open(path);
}

bool OutputFile::write(std::string_view text) {
  if (errnum_ != 0) return false;
  if (std::fwrite(text.data(), 1, text.size(), file_.stream()) != text.size()) noteFailure(errno);
  return errnum_ == 0;
}

void OutputFile::noteFailure(int errnum) {
  if (errnum_ == 0) errnum_ = errnum;
  isComplete_ = false;
}

int OutputFile::close() {
  if (!file_.isOpen()) return 1;
  if (g_pluginEnvironment->isRunIncomplete()) noteLoss();
  if (isComplete_ && file_.commit()) {
    g_pluginEnvironment->noteOutput(file_.getPath(), true);
    return 0;
  }
  if (isComplete_) noteFailure(errno);
  reportIncomplete_i(file_.keepIncomplete());
  return 1;
}

void OutputFile::reportIncomplete_i(bool isKept) const {
  const std::string kept = file_.incompletePath();
  std::string line = "ERROR: Could not write " + file_.getPath() + " completely";
  if (errnum_ != 0) line += ": " + platform::errorText(errnum_);
  if (kept != file_.getPath()) line += isKept ? ". What there is stands in " + kept : "";
  const bool isTold = errnum_ == 0 && g_pluginEnvironment->isRunIncomplete();
  if (!isTold && g_pluginEnvironment->getVerbosity() >= PW_LOG_ERROR) {
    g_pluginEnvironment->getLogger(PW_LOG_ERROR)->log(PW_LOG_ERROR, (line + ".\n").c_str());
  }
  if (isKept) g_pluginEnvironment->noteOutput(kept, false);
}

}  // namespace pwr
