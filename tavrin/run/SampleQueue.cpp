#include "tavrin/run/SampleQueue.h"

#include <utility>

namespace tavrin {

SampleQueue::SampleQueue(std::size_t capacity, std::size_t enough)
    : enough_(enough), batches_(capacity) {
  for (SampleBatch& batch : batches_) free_.push_back(&batch);
}

SampleBatch* SampleQueue::beginFill() {
  const std::lock_guard lock(mutex_);
  if (filling_ == nullptr && !free_.empty()) {
    filling_ = free_.back();
    free_.pop_back();
  }
  if (filling_ != nullptr) filling_->clear();
  return filling_;
}

void SampleQueue::endFill() {
  bool isEnough = false;
  {
    const std::lock_guard lock(mutex_);
    filled_.push_back(std::exchange(filling_, nullptr));
    isEnough = filled_.size() >= enough_;
  }
  if (isEnough) changed_.notify_one();
}

void SampleQueue::close() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
  }
  changed_.notify_one();
}

SampleBatch* SampleQueue::beginRead(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, timeout, [this] { return !filled_.empty() || closed_; });
  return filled_.empty() ? nullptr : filled_.front();
}

void SampleQueue::endRead() {
  const std::lock_guard lock(mutex_);
  free_.push_back(filled_.front());
  filled_.pop_front();
}

bool SampleQueue::isDone() const {
  const std::lock_guard lock(mutex_);
  return closed_ && filled_.empty();
}

}  // namespace tavrin
