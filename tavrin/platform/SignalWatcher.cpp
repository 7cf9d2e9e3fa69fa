#include "tavrin/platform/SignalWatcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <optional>
#include <system_error>

namespace tavrin {

namespace {

using Clock = std::chrono::steady_clock;

// One request may arrive more than once: a terminal or a tool such as timeout signals the process
// and its group.
constexpr std::chrono::milliseconds kSameRequest(250);

sigset_t watchedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&signals, signal);
  return signals;
}

int orThrow(int descriptor) {
  if (descriptor >= 0) return descriptor;
  throw std::system_error(errno, std::generic_category(), "cannot watch for signals");
}

}  // namespace

SignalWatcher::SignalWatcher(Handlers handlers) : handlers_(std::move(handlers)) {
  const sigset_t signals = watchedSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  signals_ = orThrow(signalfd(-1, &signals, SFD_CLOEXEC));
  quit_ = orThrow(eventfd(0, EFD_CLOEXEC));
  thread_ = std::thread([this] { watch(); });
}

SignalWatcher::~SignalWatcher() {
  eventfd_write(quit_, 1);
  thread_.join();
  close(signals_);
  close(quit_);
}

void SignalWatcher::watch() {
  std::optional<Clock::time_point> stoppingSince;
  for (;;) {
    pollfd sources[] = {{signals_, POLLIN, 0}, {quit_, POLLIN, 0}};
    if (poll(sources, 2, -1) < 0) continue;
    if (sources[1].revents != 0) return;
    signalfd_siginfo info{};
    if (read(signals_, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) continue;
    if (info.ssi_signo == SIGCHLD) {
      handlers_.onChild();
    } else if (info.ssi_signo == SIGHUP && handlers_.onHangup) {
      handlers_.onHangup();
    } else if (!stoppingSince) {
      stoppingSince = Clock::now();
      handlers_.onStop(static_cast<int>(info.ssi_signo));
    } else if (info.ssi_signo != SIGHUP && Clock::now() - *stoppingSince > kSameRequest) {
      handlers_.onAbort();
    }
  }
}

}  // namespace tavrin
