#pragma once

#include <deque>
#include <memory>
#include <mutex>

namespace pwr {

/// Keeps descriptions for the life of the process. It is deliberately never destroyed: descriptions
/// may still be used by static destructors and by plugins that are unloaded late.
template <typename T>
class ImmortalStore {
 public:
  static ImmortalStore& instance() {
    static auto* const store = new ImmortalStore;
    return *store;
  }

  const T* keep(std::unique_ptr<const T> description) {
    const std::lock_guard lock(mutex_);
    return kept_.emplace_back(std::move(description)).get();
  }

  std::size_t size() {
    const std::lock_guard lock(mutex_);
    return kept_.size();
  }

 private:
  std::mutex mutex_;
  std::deque<std::unique_ptr<const T>> kept_;
};

}  // namespace pwr
