#include "tavrin/platform/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

#include "tavrin/common/CommandError.h"

#if defined(_WIN32)
#include <io.h>

#include "hostcommon/Utf8Path.h"
#else
#include <poll.h>
#include <unistd.h>
#endif

namespace tavrin {

namespace {

constexpr int kStandardInput = 0;

#if defined(_WIN32)

using FileStatus = struct _stat64;

int openForReading(const std::string& path) {
  return _wopen(pwr::pathFromUtf8(path).c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT);
}

bool isFile(int descriptor) {
  FileStatus status{};
  return _fstat64(descriptor, &status) == 0 && (status.st_mode & _S_IFMT) == _S_IFREG;
}

// The wait for more ends with the key of a stop by itself: the system interrupts the reading of a
// console, and the program at the other end of a pipe.
bool waitForInput(int /*descriptor*/, const StopRequest* stop) {
  return stop == nullptr || !stop->isRequested();
}

long long readSome(int descriptor, char* buffer, std::size_t size) {
  constexpr std::size_t kMost = std::numeric_limits<int>::max();
  return _read(descriptor, buffer, static_cast<unsigned int>(std::min(size, kMost)));
}

void closeFile(int descriptor) {
  _close(descriptor);
}

#else

int openForReading(const std::string& path) {
  return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

bool isFile(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// False when a stop was requested, whatever there is to read.
bool waitForInput(int descriptor, const StopRequest* stop) {
  pollfd sources[] = {{descriptor, POLLIN, 0},
                      {stop == nullptr ? -1 : stop->descriptor(), POLLIN, 0}};
  while (poll(sources, 2, -1) < 0) {
    if (errno != EINTR) break;
  }
  return stop == nullptr || !stop->isRequested();
}

long long readSome(int descriptor, char* buffer, std::size_t size) {
  return ::read(descriptor, buffer, size);
}

void closeFile(int descriptor) {
  close(descriptor);
}

#endif

}  // namespace

InputFile::InputFile(const std::string& path, const StopRequest* stop)
    : name_(path == "-" ? "standard input" : path),
      stop_(stop),
      descriptor_(path == "-" ? kStandardInput : openForReading(path)) {
  if (descriptor_ < 0) {
    throw CommandError(kExitIncomplete,
                       "cannot read " + path + ": " + std::generic_category().message(errno));
  }
  live_ = path == "-" || !isFile(descriptor_);
}

InputFile::~InputFile() {
  if (descriptor_ != kStandardInput) closeFile(descriptor_);
}

long long InputFile::read(char* buffer, std::size_t size) {
  for (;;) {
    if (!waitForInput(descriptor_, stop_)) {
      stopSeen_ = true;
      return 0;
    }
    const long long count = readSome(descriptor_, buffer, size);
    if (count >= 0) return count;
    error_ = errno;
    if (error_ != EAGAIN && error_ != EINTR) return count;
  }
}

std::string InputFile::readError() const {
  return std::generic_category().message(error_);
}

bool InputFile::isStopped() const {
  return stopSeen_ || (!live_ && stop_ != nullptr && stop_->isRequested());
}

}  // namespace tavrin
