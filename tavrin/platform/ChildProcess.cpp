#include "tavrin/platform/ChildProcess.h"

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "writers/host/Tokenizer.h"

namespace tavrin {

namespace {

constexpr std::chrono::milliseconds kQuietWait{300};
/// A killed process ends at once, unless the kernel has it wait for something that never comes.
constexpr std::chrono::milliseconds kKillTime{1000};

[[noreturn]] void cannotStart(const std::string& name, int cause) {
  throw CommandError(kExitCannotStart, "cannot start '" + name + "': " + std::strerror(cause));
}

/// 0 when `path` is a file that may be executed, else the errno that tells why not.
int whyNotExecutable(const std::filesystem::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EACCES;
  return access(path.c_str(), X_OK) == 0 ? 0 : errno;
}

int findProgram(const std::string& name) {
  if (name.find('/') != std::string::npos) return whyNotExecutable(name);
  const char* const path = std::getenv("PATH");
  int cause = ENOENT;
  const pwr::Tokenizer folders(path == nullptr ? "/bin:/usr/bin" : path, ":");
  for (const std::string& folder : folders.get_all_tokens()) {
    const int problem = whyNotExecutable(std::filesystem::path(folder) / name);
    if (problem == 0) return 0;
    if (problem == EACCES) cause = EACCES;
  }
  return cause;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command, std::chrono::milliseconds grace)
    : command_(std::move(command)), grace_(grace) {
  if (const int cause = findProgram(command_.front())) cannotStart(command_.front(), cause);
}

ChildProcess::~ChildProcess() {
  end();
}

void ChildProcess::start() {
  std::vector<char*> arguments;
  for (std::string& argument : command_) arguments.push_back(argument.data());
  arguments.push_back(nullptr);

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  for (const int ignored : {SIGPIPE, SIGXFSZ}) sigaddset(&signals, ignored);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const std::lock_guard lock(mutex_);
  started_ = std::chrono::steady_clock::now();
  const int cause = posix_spawnp(&pid_, command_.front().c_str(), nullptr, &attributes,
                                 arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (cause != 0) cannotStart(command_.front(), cause);
  running_ = true;
}

std::string ChildProcess::named() const {
  return "'" + command_.front() + "' (process " + std::to_string(pid_) + ")";
}

void ChildProcess::noteEnd(int status, const rusage& resources) {
  running_ = false;
  usage_ = {resources, std::chrono::steady_clock::now() - started_};
  exitStatus_ = WIFSIGNALED(status) ? kExitSignalOffset + WTERMSIG(status) : WEXITSTATUS(status);
}

bool ChildProcess::hasEnded() {
  const std::lock_guard lock(mutex_);
  int status = 0;
  rusage resources{};
  const pid_t ended = running_ ? wait4(pid_, &status, WNOHANG, &resources) : 0;
  if (ended == pid_) noteEnd(status, resources);
  if (ended < 0 && errno != EINTR) {
    running_ = false;
    warn("how " + named() + " ended is not known: " + std::strerror(errno));
  }
  return pid_ != -1 && !running_;
}

/// Polled, so that the thread that notes ended children is never kept from its other work.
bool ChildProcess::endsWithin(std::chrono::milliseconds time) {
  const auto deadline = std::chrono::steady_clock::now() + time;
  while (!hasEnded()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

/// Waits for as long as the command may take; tells of it when that is long.
bool ChildProcess::endsInGrace(const std::string& after) {
  const auto quiet = std::min(grace_, kQuietWait);
  if (endsWithin(quiet)) return true;
  inform("waiting up to " + std::to_string(grace_.count() / 1000) + " s for " + named() +
         " to end after " + after);
  return endsWithin(grace_ - quiet);
}

/// Whether the command has a handler for Ctrl-C, so that it may be cleaning up. Without one it has
/// either ended or was not told.
bool ChildProcess::heedsInterrupt() const {
  std::ifstream file("/proc/" + std::to_string(pid_) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with("SigCgt:")) continue;
    return (std::strtoull(line.c_str() + 7, nullptr, 16) & (1ULL << (SIGINT - 1))) != 0;
  }
  return false;
}

void ChildProcess::end(bool afterInterrupt) {
  if (pid_ == -1 || hasEnded()) return;
  if (afterInterrupt && heedsInterrupt() && endsInGrace("the Ctrl-C")) return;
  kill(pid_, SIGTERM);
  if (endsInGrace("SIGTERM")) return;
  warn(named() + " does not end after SIGTERM and is killed");
  kill(pid_, SIGKILL);
  if (endsWithin(kKillTime)) return;
  const std::lock_guard lock(mutex_);
  running_ = false;
  exitStatus_ = kExitSignalOffset + SIGKILL;
  warn(named() + " cannot be ended and is left behind");
}

}  // namespace tavrin
