#pragma once

#include "tavrin/service/KeepBounds.h"
#include "tavrin/service/RunFolder.h"

namespace tavrin {

/// Keeps the files of a service within their bounds: the oldest go first. What is being written
/// counts, but is not removed.
class Rotation {
 public:
  using Time = RunFolder::Time;

  /// `folder` is not owned.
  Rotation(RunFolder& folder, const KeepBounds& bounds) : folder_(folder), bounds_(bounds) {}

  /// Removes files until none is older than its bound at `now`, and all that there is, with
  /// `coming` bytes more, is no larger than its bound. Returns what is left.
  RunFolder::Content trim(Time now, std::uint64_t coming);

  /// Files removed so far.
  std::uint64_t removed() const { return removed_; }

 private:
  bool isTooOld(const RunFolder::File& file, Time now) const;

  RunFolder& folder_;
  const KeepBounds bounds_;
  std::uint64_t removed_ = 0;
  bool isTold_ = false;
};

}  // namespace tavrin
