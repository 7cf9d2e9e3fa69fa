#include "tavrin/run/SampleQueue.h"

namespace tavrin {

SampleBatch* SampleQueue::beginFill() {
  const std::lock_guard lock(mutex_);
  if (filled_ == batches_.size()) return nullptr;
  SampleBatch& batch = batches_[(first_ + filled_) % batches_.size()];
  batch.clear();
  return &batch;
}

void SampleQueue::endFill() {
  {
    const std::lock_guard lock(mutex_);
    ++filled_;
  }
  changed_.notify_one();
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
  changed_.wait_for(lock, timeout, [this] { return filled_ > 0 || closed_; });
  return filled_ > 0 ? &batches_[first_] : nullptr;
}

void SampleQueue::endRead() {
  const std::lock_guard lock(mutex_);
  first_ = (first_ + 1) % batches_.size();
  --filled_;
}

bool SampleQueue::isDone() const {
  const std::lock_guard lock(mutex_);
  return closed_ && filled_ == 0;
}

}  // namespace tavrin
