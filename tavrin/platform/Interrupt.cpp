#include "tavrin/platform/Interrupt.h"

#include <csignal>
#include <cstdlib>

#include "hostcommon/Temporaries.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/platform/AbortAction.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include "tavrin/platform/SignalWatcher.h"
#endif

namespace tavrin {

namespace {

[[noreturn]] void abortRun() {
  fail("aborted: the outputs are not complete");
  runAbortActions();
  pwr::removeTemporaries();
  std::_Exit(kExitAborted);
}

}  // namespace

#if defined(_WIN32)

struct Interrupt::Watch {};

namespace {

StopRequest* g_stop = nullptr;

/// Called in a thread of its own.
BOOL WINAPI onControl(DWORD event) {
  if (g_stop->isRequested()) abortRun();
  g_stop->request(SIGINT);
  // The process is ended when this returns, unless a key made the event: the run gets the seconds
  // that the system allows for it.
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

}  // namespace

Interrupt::Interrupt(StopRequest& stop, std::function<void()> /*onChild*/,
                     std::function<void()> /*onHangup*/) {
  g_stop = &stop;
  SetConsoleCtrlHandler(onControl, TRUE);
}

Interrupt::~Interrupt() {
  SetConsoleCtrlHandler(onControl, FALSE);
}

#else

struct Interrupt::Watch {
  SignalWatcher watcher;
};

Interrupt::Interrupt(StopRequest& stop, std::function<void()> onChild,
                     std::function<void()> onHangup)
    : watch_(new Watch{SignalWatcher({.onStop = [&stop](int signal) { stop.request(signal); },
                                      .onAbort = abortRun,
                                      .onChild = onChild ? std::move(onChild) : [] {},
                                      .onHangup = std::move(onHangup)})}) {}

Interrupt::~Interrupt() = default;

#endif

}  // namespace tavrin
