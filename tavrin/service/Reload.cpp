#include "tavrin/service/Reload.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"

namespace tavrin {

namespace {

constexpr const char* kSelf = "/proc/self/exe";

/// The program by its name, which the process is called by. One that was replaced meanwhile is
/// taken in its new version.
std::string program() {
  constexpr std::string_view kReplaced = " (deleted)";
  std::error_code error;
  std::string path = std::filesystem::read_symlink(kSelf, error).string();
  if (path.ends_with(kReplaced)) path.resize(path.size() - kReplaced.size());
  return access(path.c_str(), X_OK) == 0 ? path : kSelf;
}

}  // namespace

void Reload::startCheck() {
  std::vector<std::string> command = arguments_;
  command.insert(command.begin() + 1, "--check");  // behind "record", before a command
  command.insert(command.begin(), program());
  check_ = std::make_unique<ChildProcess>(command);
  check_->start();
}

Reload::Progress Reload::keepUp() {
  try {
    if (check_ == nullptr && isRequested_.exchange(false)) {
      startCheck();
      return Progress::Begun;
    }
  } catch (const CommandError& error) {
    warn(error.what());
    check_.reset();
    return Progress::Refused;
  }
  if (check_ == nullptr || !check_->hasEnded()) return Progress::None;
  isAccepted_ = check_->exitStatus() == kExitDone;
  check_.reset();
  return isAccepted_ ? Progress::Accepted : Progress::Refused;
}

void beginAnew(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "tavrin");
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  execv(program().c_str(), pointers.data());
  throw CommandError(kExitIncomplete,
                     std::string("cannot begin anew after the reload: ") + std::strerror(errno));
}

}  // namespace tavrin
