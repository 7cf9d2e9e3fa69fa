#include "writers/text/ReportOutput.h"

#include <cerrno>
#include <cstdio>

#include "writers/common/TextLog.h"

void ReportOutput::setEcho(bool echo) {
  if (echo == echo_) return;
  pending_.drain();
  if (!echo && std::fflush(stdout) != 0) noteEchoFailure();
  echo_ = echo;
}

int ReportOutput::close() {
  setEcho(false);
  pending_.drain();
  const int status = file_.close();
  return echoFailed_ ? 1 : status;
}

void ReportOutput::write(std::string_view text) {
  file_.write(text);
  if (!echo_ || echoFailed_) return;
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) noteEchoFailure();
}

void ReportOutput::noteEchoFailure() {
  if (echoFailed_) return;
  echoFailed_ = true;
  PW_LOG(kPlainLog, PW_LOG_ERROR,
         "ERROR: Could not write standard output: %s. The report there is incomplete.\n",
         systemErrorText(errno).c_str());
}
