#include "tavrin/platform/ChildProcess.h"

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "tavrin/common/CommandError.h"
#include "writers/host/Tokenizer.h"

namespace tavrin {

namespace {

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

ChildProcess::ChildProcess(std::vector<std::string> command) : command_(std::move(command)) {
  if (const int cause = findProgram(command_.front())) cannotStart(command_.front(), cause);
}

ChildProcess::~ChildProcess() {
  terminate();
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
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const std::lock_guard lock(mutex_);
  const int cause = posix_spawnp(&pid_, command_.front().c_str(), nullptr, &attributes,
                                 arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (cause != 0) cannotStart(command_.front(), cause);
  running_ = true;
}

void ChildProcess::noteStatus(int status) {
  running_ = false;
  exitStatus_ = WIFSIGNALED(status) ? kExitSignalOffset + WTERMSIG(status) : WEXITSTATUS(status);
}

bool ChildProcess::hasEnded() {
  const std::lock_guard lock(mutex_);
  int status = 0;
  if (running_ && waitpid(pid_, &status, WNOHANG) == pid_) noteStatus(status);
  return pid_ != -1 && !running_;
}

void ChildProcess::terminate() {
  if (pid_ == -1 || hasEnded()) return;
  kill(pid_, SIGTERM);
  // Polled, so that the thread that notes ended children is never kept from its other work.
  while (!hasEnded()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

}  // namespace tavrin
