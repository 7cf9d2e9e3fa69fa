#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

#include "tavrin/collect/SampleBatch.h"

namespace tavrin {

/// A bounded queue of sampling passes between the sampling thread and the writer thread. Its
/// batches are filled and read in place and used again, those that were used last first, so that a
/// pass in the steady state allocates nothing and mostly finds its batch in the caches.
class SampleQueue {
 public:
  /// The reader sleeps until `enough` batches wait, or its time is over.
  explicit SampleQueue(std::size_t capacity, std::size_t enough = 1);

  /// Sampling thread: an empty batch to fill, or null when all are waiting to be read.
  SampleBatch* beginFill();
  /// Sampling thread: hands over the batch that `beginFill` gave.
  void endFill();
  /// Sampling thread: nothing more will come.
  void close();

  /// Writer thread: the oldest batch, or null when `timeout` passes or the queue is closed and
  /// empty.
  SampleBatch* beginRead(std::chrono::milliseconds timeout);
  /// Writer thread: gives back the batch that `beginRead` gave.
  void endRead();
  /// Writer thread: closed, and everything was read.
  bool isDone() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  const std::size_t enough_;
  std::vector<SampleBatch> batches_;
  std::vector<SampleBatch*> free_;  // a stack
  SampleBatch* filling_ = nullptr;
  std::deque<SampleBatch*> filled_;  // the oldest first
  bool closed_ = false;
};

}  // namespace tavrin
