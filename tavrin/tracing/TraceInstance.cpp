#include "tavrin/tracing/TraceInstance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"

namespace tavrin {

namespace {

constexpr const char* kPrefix = "tavrin-";
/// An instance cannot be removed while its buffer is being read.
constexpr std::chrono::milliseconds kBetweenTries{1};
constexpr int kMostTries = 200;

/// Opens the folder and locks it. Negative with errno: EWOULDBLOCK when another process has it.
int lockFolder(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0 || flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
  const int cause = errno;
  close(descriptor);
  errno = cause;
  return -1;
}

bool isStillThere(int descriptor, const std::string& folder) {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor, &opened) == 0 && stat(folder.c_str(), &named) == 0 &&
         opened.st_ino == named.st_ino;
}

/// Returns 0, or the errno of the failure.
int removeFolder(const std::string& folder) {
  for (int tries = 0; rmdir(folder.c_str()) != 0; ++tries) {
    if (errno != EBUSY || tries == kMostTries) return errno;
    std::this_thread::sleep_for(kBetweenTries);
  }
  return 0;
}

/// What is locked belongs to a run that lives.
void removeLeftovers(const std::string& folders) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folders, error)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with(kPrefix)) continue;
    const int lock = lockFolder(entry.path().string());
    if (lock < 0) continue;
    const int cause = removeFolder(entry.path().string());
    close(lock);
    if (cause == 0) {
      inform("removed the trace instance " + name + " of a run that was killed");
    } else if (cause != ENOENT) {
      warn("cannot remove the trace instance " + name +
           " of a run that was killed: " + std::strerror(cause));
    }
  }
}

}  // namespace

TraceInstance::TraceInstance(const std::string& tracefs) : folders_(tracefs + "/instances") {
  removeLeftovers(folders_);
  int cause = EEXIST;
  for (int tries = 0; tries < kMostTries && cause == EEXIST; ++tries) {
    // A process of another container may have the same number.
    name_ = kPrefix + std::to_string(getpid()) + (tries == 0 ? "" : "-" + std::to_string(tries));
    folder_ = folders_ + "/" + name_;
    cause = make();
  }
  if (cause != 0) {
    throw CommandError(kExitIncomplete,
                       "cannot make the trace instance " + folder_ + ": " + std::strerror(cause));
  }
  abort_ = std::make_unique<AbortAction>([this] { abandon(); });
}

TraceInstance::~TraceInstance() {
  remove();
}

/// Returns 0, or the errno of the failure: EEXIST when another run has, or is removing, one of the
/// name.
int TraceInstance::make() {
  if (mkdir(folder_.c_str(), 0750) != 0) return errno;
  lock_ = lockFolder(folder_);
  if (lock_ < 0 || !isStillThere(lock_, folder_)) {
    if (lock_ >= 0) close(lock_);
    return EEXIST;
  }
  instance_.reset(trace_api_make_instance(name_.c_str()));
  if (instance_ != nullptr) return 0;
  const int cause = errno;
  removeFolder(folder_);
  close(lock_);
  return cause == 0 ? EIO : cause;
}

int TraceInstance::write(const char* file, const std::string& text) {
  return trace_api_write(instance_.get(), file, text.c_str());
}

int TraceInstance::enable(const char* system, const char* event) {
  return trace_api_enable_event(instance_.get(), system, event);
}

int TraceInstance::openBuffer(unsigned int cpu) {
  const std::string file = path("per_cpu/cpu" + std::to_string(cpu) + "/trace_pipe_raw");
  const int descriptor = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return descriptor;
  const std::scoped_lock lock(mutex_);
  buffers_.push_back(descriptor);
  return descriptor;
}

int TraceInstance::remove() {
  if (instance_ == nullptr) return 0;
  for (const int descriptor : buffers_) close(descriptor);
  instance_.reset();
  const int cause = removeFolder(folder_);
  // Only now: an abort before this removes the instance, whatever of it is left.
  abort_.reset();
  buffers_.clear();
  close(lock_);
  return cause == ENOENT ? 0 : cause;
}

/// While another thread may be reading: the descriptors stay, and lead nowhere.
void TraceInstance::abandon() {
  const int nowhere = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const std::scoped_lock lock(mutex_);
  for (const int descriptor : buffers_) dup3(nowhere, descriptor, O_CLOEXEC);
  removeFolder(folder_);
}

}  // namespace tavrin
