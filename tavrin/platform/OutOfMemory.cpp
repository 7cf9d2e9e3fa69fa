#include "tavrin/platform/OutOfMemory.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <new>
#include <thread>

#include "hostcommon/Temporaries.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/platform/AbortAction.h"

namespace tavrin {

namespace {

/// Set aside for what has to be done at the end.
constexpr std::size_t kReserve = 1 << 20;
std::unique_ptr<char[]> g_reserve;

std::atomic_flag g_isEnding;
thread_local bool t_endsProcess = false;

void endProcess() {
  if (t_endsProcess) std::_Exit(kExitIncomplete);  // the reserve was not enough
  if (g_isEnding.test_and_set()) {
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));  // another thread is at it
  }
  t_endsProcess = true;
  g_reserve.reset();
  fail("memory has run out: the outputs are not complete");
  runAbortActions();
  pwr::removeTemporaries();
  std::_Exit(kExitIncomplete);
}

}  // namespace

void exitWhenMemoryRunsOut() {
  g_reserve = std::make_unique<char[]>(kReserve);
  std::set_new_handler(endProcess);
}

}  // namespace tavrin
