#pragma once

#include <functional>
#include <thread>

namespace tavrin {

/// Turns signals into calls, in a thread of its own: the first of SIGINT, SIGTERM and SIGHUP calls
/// `onStop` with its number, a SIGINT or SIGTERM more than a quarter of a second later calls
/// `onAbort`, SIGCHLD calls `onChild`. While it exists these signals are blocked in every thread
/// that is started after it, and SIGPIPE is ignored, so that a reader that goes away is an error of
/// the write, not the end of the run.
///
/// Create it before any other thread.
class SignalWatcher {
 public:
  /// `onHangup` takes SIGHUP out of those that stop; empty it does not.
  struct Handlers {
    std::function<void(int)> onStop;
    std::function<void()> onAbort;
    std::function<void()> onChild;
    std::function<void()> onHangup;
  };

  explicit SignalWatcher(Handlers handlers);
  ~SignalWatcher();
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;

 private:
  void watch();

  Handlers handlers_;
  int signals_;  ///< delivers the signals as bytes to read
  int quit_;     ///< becomes readable when the thread shall end
  std::thread thread_;
};

}  // namespace tavrin
