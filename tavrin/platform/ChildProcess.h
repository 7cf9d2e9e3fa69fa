#pragma once

#include <sys/types.h>

#include <mutex>
#include <string>
#include <vector>

namespace tavrin {

/// The command that is measured. Its operations may be called from several threads.
class ChildProcess {
 public:
  /// Looks the command up as a shell would. Throws CommandError (127) when there is no such program
  /// or it cannot be executed. Starts nothing yet.
  explicit ChildProcess(std::vector<std::string> command);
  /// Ends the command if it still runs, and waits for it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Starts the command with this process's standard streams and with no signal blocked or ignored.
  /// Throws CommandError (127) when that fails.
  void start();
  /// True once the started command has ended. Does not wait.
  bool hasEnded();
  /// Asks the command to end (SIGTERM) if it still runs, then waits for it.
  void terminate();
  /// Its exit status, or 128 + the number of the signal that ended it. Valid once it has ended.
  int exitStatus() const { return exitStatus_; }

 private:
  void noteStatus(int status);

  std::vector<std::string> command_;
  std::mutex mutex_;  ///< guards what follows
  pid_t pid_ = -1;
  bool running_ = false;
  int exitStatus_ = 0;
};

}  // namespace tavrin
