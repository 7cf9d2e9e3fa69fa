#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

#include "tavrin/collect/SampleBatch.h"

namespace tavrin {

/// A bounded queue of sampling passes between the sampling thread and the writer thread. Its
/// batches are filled and read in place and used again, so that a pass in the steady state
/// allocates nothing.
class SampleQueue {
 public:
  explicit SampleQueue(std::size_t capacity) : batches_(capacity) {}

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
  std::vector<SampleBatch> batches_;
  std::size_t first_ = 0;
  std::size_t filled_ = 0;
  bool closed_ = false;
};

}  // namespace tavrin
