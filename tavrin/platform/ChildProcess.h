#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tavrin {

/// What a command used, with all of its descendants that were waited for.
struct CommandUsage {
  rusage resources{};
  std::chrono::nanoseconds elapsed{0};  ///< from its start until its end was noticed
};

/// The command that is measured. Its operations may be called from several threads.
class ChildProcess {
 public:
  /// Looks the command up as a shell would. Throws CommandError (127) when there is no such program
  /// or it cannot be executed. Starts nothing yet. `grace` is how long the command may take to end
  /// once it was asked to.
  explicit ChildProcess(std::vector<std::string> command,
                        std::chrono::milliseconds grace = std::chrono::seconds(5));
  /// Ends the command if it still runs, and waits for it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Starts the command with this process's standard streams and with no signal blocked or ignored.
  /// Throws CommandError (127) when that fails.
  void start();
  /// True once the started command has ended. Does not wait.
  bool hasEnded();
  /// Ends the command if it still runs: asks it (SIGTERM), kills it when it takes longer than its
  /// grace, and waits for it. After a Ctrl-C, of which the terminal tells the command too, one that
  /// heeds it has that time before it is asked. Each wait is told. A command that is still there
  /// in the end is named and left behind.
  void end(bool afterInterrupt = false);
  /// Its exit status, or 128 + the number of the signal that ended it. Valid once it has ended.
  int exitStatus() const { return exitStatus_; }
  /// Empty as long as it runs, and where the kernel does not tell. To be asked by the thread that
  /// has found it ended.
  const std::optional<CommandUsage>& usage() const { return usage_; }

 private:
  void noteEnd(int status, const rusage& resources);
  bool heedsInterrupt() const;
  bool endsWithin(std::chrono::milliseconds time);
  bool endsInGrace(const std::string& after);
  std::string named() const;

  std::vector<std::string> command_;
  const std::chrono::milliseconds grace_;
  std::mutex mutex_;  ///< guards what follows
  pid_t pid_ = -1;
  bool running_ = false;
  int exitStatus_ = 0;
  std::chrono::steady_clock::time_point started_;
  std::optional<CommandUsage> usage_;
};

}  // namespace tavrin
