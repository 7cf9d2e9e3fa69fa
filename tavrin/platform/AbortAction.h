#pragma once

#include <functional>

namespace tavrin {

/// Something to be undone also when the run is aborted: while it exists, an abort calls the action,
/// from any thread and with the others still running.
class AbortAction {
 public:
  explicit AbortAction(std::function<void()> action);
  ~AbortAction();
  AbortAction(const AbortAction&) = delete;
  AbortAction& operator=(const AbortAction&) = delete;

 private:
  std::function<void()> action_;

  friend void runAbortActions();
};

/// For a process that is about to end at once. May be called once; whoever creates or destroys an
/// action from then on waits for the end of the process.
void runAbortActions();

}  // namespace tavrin
