#pragma once

#include <stdexcept>
#include <string>

namespace tavrin {

/// Exit statuses, apart from those of a measured command.
enum ExitStatus : int {
  kExitDone = 0,
  kExitIncomplete = 1,      ///< an output could not be completed, or the run failed
  kExitUsage = 2,           ///< the command line asks for something that is not there
  kExitChanged = 3,         ///< a comparison found more change than is allowed
  kExitAborted = 130,       ///< a second Ctrl-C
  kExitCannotStart = 127,   ///< the command to measure could not be started
  kExitSignalOffset = 128,  ///< added to the number of the signal that ended the command
};

/// Ends the run with a message for the user and an exit status.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitStatus status, const std::string& message)
      : std::runtime_error(message), status_(status) {}

  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

}  // namespace tavrin
