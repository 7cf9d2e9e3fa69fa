#include "tavrin/Capture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tavrin/common/CommandError.h"

namespace tavrin {

namespace {

/// Half of what is promised: a pass of the run's loop may take its time.
constexpr std::chrono::milliseconds kFlushPeriod{500};

[[noreturn]] void cannotWrite(const std::string& path, const char* cause) {
  throw CommandError(kExitIncomplete, "cannot write the capture " + path + ": " + cause);
}

/// Opens a file that is there by its own name, a device or a pipe also through a link.
int openForWriting(const std::string& path) {
  constexpr mode_t kAsTheUserMasks = 0666;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kAsTheUserMasks);
  if (file >= 0 || errno != ELOOP) return file;
  struct stat target {};
  if (stat(path.c_str(), &target) == 0 && S_ISREG(target.st_mode)) {
    cannotWrite(path, "it is a link to a file; name the file itself");
  }
  return open(path.c_str(), O_WRONLY | O_CLOEXEC);
}

FILE* openEmptied(const std::string& path) {
  const int file = openForWriting(path);
  struct stat status {};
  if (file < 0 || fstat(file, &status) != 0) cannotWrite(path, std::strerror(errno));
  if (S_ISREG(status.st_mode) && ftruncate(file, 0) != 0) cannotWrite(path, std::strerror(errno));
  return fdopen(file, "wb");
}

}  // namespace

Capture::Capture(const std::string& path)
    : file_(path == "-" ? File(stdout, std::fflush) : File(openEmptied(path), std::fclose)),
      writer_(file_.get()) {}

void Capture::keepUp(Clock::time_point now) {
  if (now < nextFlush_) return;
  nextFlush_ = now + kFlushPeriod;
  failed_ = std::fflush(file_.get()) != 0 || failed_;
}

bool Capture::finish(const pwr::SystemMetadata& metadata) {
  writer_.stop(metadata);
  const bool written = writer_.close() == 0;
  const bool closed = file_.get_deleter()(file_.release()) == 0;
  return written && closed && !failed_;
}

}  // namespace tavrin
