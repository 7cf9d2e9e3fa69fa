#include "writers/text/ReportOutput.h"

#include <cerrno>

#include "writers/common/TextLog.h"

namespace {

bool writeAll(FILE* stream, std::string_view text) {
  return std::fwrite(text.data(), 1, text.size(), stream) == text.size();
}

}  // namespace

ReportOutput::~ReportOutput() {
  if (file_ != nullptr) std::fclose(file_);
}

bool ReportOutput::open(const std::string& path) {
  path_ = path;
  return pwr::openFileHandle(&file_, path.c_str(), "wb");
}

void ReportOutput::setEcho(bool echo) {
  if (echo == echo_) return;
  pending_.drain();
  echo_ = echo;
  if (!echo && !echoFailed_ && std::fflush(stdout) != 0) {
    echoFailed_ = true;
    fail("standard output", errno);
  }
}

int ReportOutput::close() {
  setEcho(false);
  pending_.drain();
  if (!failed_ && std::fflush(file_) != 0) {
    failed_ = true;
    fail(path_.c_str(), errno);
  }
  if (std::fclose(file_) != 0 && !failed_) {
    failed_ = true;
    fail(path_.c_str(), errno);
  }
  file_ = nullptr;
  return failed_ || echoFailed_ ? 1 : 0;
}

// A broken standard output must not cost the file anything, nor the other way round.
void ReportOutput::write(std::string_view text) {
  if (!failed_ && !writeAll(file_, text)) {
    failed_ = true;
    fail(path_.c_str(), errno);
  }
  if (echo_ && !echoFailed_ && !writeAll(stdout, text)) {
    echoFailed_ = true;
    fail("standard output", errno);
  }
}

void ReportOutput::fail(const char* name, int errnum) {
  PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not write %s: %s. The report is incomplete.\n",
         name, systemErrorText(errnum).c_str());
}
