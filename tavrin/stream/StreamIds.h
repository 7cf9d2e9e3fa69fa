#pragma once

#include <vector>

#include "writers/host/Quantity.h"
#include "writers/host/UniqueId.h"

namespace tavrin {

/// The ids that the descriptions of this process have in a recorded stream. Process ids are dense,
/// so that a plain array finds them.
class StreamIds {
 public:
  /// Notes that the description is to be defined. False when it was noted before.
  bool note(const pwr::UniqueId& description) {
    const auto index = static_cast<std::size_t>(description.getId());
    if (index >= ids_.size()) ids_.resize(index + 1, kUnknown);
    if (ids_[index] != kUnknown) return false;
    ids_[index] = kNoted;
    return true;
  }

  /// Gives a description that was noted the next id of the stream.
  unsigned long long assign(const pwr::UniqueId& description) {
    return ids_[static_cast<std::size_t>(description.getId())] = next();
  }

  /// Takes the next id, for what has no process id.
  unsigned long long next() { return ++last_; }
  /// The id that `next` would take.
  unsigned long long peek() const { return last_ + 1; }

  /// The id of a description that `assign` was called for; 0 for the quantity of time, which every
  /// stream has.
  unsigned long long of(const pwr::UniqueId& description) const {
    if (description.getId() == pwr::Quantity::time()->getId()) return 0;
    return ids_[static_cast<std::size_t>(description.getId())];
  }

 private:
  static constexpr unsigned long long kUnknown = 0;
  static constexpr unsigned long long kNoted = ~0ULL;

  std::vector<unsigned long long> ids_;
  unsigned long long last_ = 0;
};

}  // namespace tavrin
