#include "writers/common/GatheredOutput.h"

#include <algorithm>
#include <cstring>
#include <utility>

GatheredOutput::GatheredOutput(std::function<void(std::string_view)> sink)
    : sink_(std::move(sink)), pending_(new char[kCapacity + kSlack]) {}

void GatheredOutput::drain() {
  if (used_ == 0) return;
  sink_({pending_.get(), used_});
  used_ = 0;
}

/// Makes room for `kMostAtOnce` bytes, of which the capacity has too few.
void GatheredOutput::drainPiece() {
  sink_({pending_.get(), kPiece});
  used_ -= kPiece;
  std::memmove(pending_.get(), pending_.get() + kPiece, used_);
}

void GatheredOutput::appendLarge(std::string_view text) {
  drain();
  sink_(text);
}

void GatheredOutput::padWide(std::size_t count) {
  while (count > 0) {
    const std::size_t step = std::min(count, kMostAtOnce);
    std::memset(extend(step), ' ', step);
    count -= step;
  }
}
