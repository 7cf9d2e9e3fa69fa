#pragma once

#include <string>
#include <vector>

#include "tavrin/import/CpuEvents.h"
#include "tavrin/import/RandomBytes.h"
#include "tavrin/import/Recording.h"

namespace tavrin {

/// The events of all CPUs in all buffers of a recording, in the order of time, as bytes. Of each
/// CPU a page or a few are in memory.
class MergedEvents {
 public:
  /// Goes to the first event. Nothing is owned.
  MergedEvents(RandomBytes& file, const Recording& recording);

  /// The present event or loss; null behind the last one.
  const CpuEvents* event() const { return waiting_.empty() ? nullptr : waiting_.back(); }
  /// Of the present event, in nanoseconds where the trace clock has them, with what the recording
  /// says is to be added.
  unsigned long long time() const;
  void next();

  /// Of each CPU whose pages are damaged: which, where and how.
  std::vector<std::string> faults() const;

 private:
  struct Source {
    const RecordedBuffer* buffer;
    CpuEvents events;
  };

  const Recording& recording_;
  std::vector<Source> sources_;
  // A heap with the earliest on top, and behind it the present one, which is earlier yet.
  std::vector<CpuEvents*> waiting_;
};

}  // namespace tavrin
