#pragma once

#include <functional>
#include <memory>

#include "tavrin/platform/StopRequest.h"

namespace tavrin {

/// While it exists, the first Ctrl-C (or SIGTERM, SIGHUP) requests a stop, and the second ends the
/// process at once with status 130, taking temporary files away. Create it before any other thread,
/// and only one at a time.
class Interrupt {
 public:
  /// `onChild`, called when a child process has ended, from a thread of the watcher's own.
  /// `onHangup`, if there is one, is called for SIGHUP, which is no request to stop then; likewise.
  explicit Interrupt(StopRequest& stop, std::function<void()> onChild = {},
                     std::function<void()> onHangup = {});
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

 private:
  struct Watch;
  std::unique_ptr<Watch> watch_;
};

}  // namespace tavrin
