#include "tavrin/platform/AbortAction.h"

#include <mutex>
#include <set>

namespace tavrin {

namespace {

/// Never destroyed: an abort may come during the exit.
struct Actions {
  std::recursive_mutex mutex;
  std::set<const AbortAction*> all;

  static Actions& instance() {
    static auto* const actions = new Actions;
    return *actions;
  }
};

}  // namespace

AbortAction::AbortAction(std::function<void()> action) : action_(std::move(action)) {
  Actions& actions = Actions::instance();
  const std::lock_guard lock(actions.mutex);
  actions.all.insert(this);
}

AbortAction::~AbortAction() {
  Actions& actions = Actions::instance();
  const std::lock_guard lock(actions.mutex);
  actions.all.erase(this);
}

void runAbortActions() {
  Actions& actions = Actions::instance();
  actions.mutex.lock();  // and never unlocked
  for (const AbortAction* action : actions.all) action->action_();
}

}  // namespace tavrin
