#include "tavrin/import/PeekedSource.h"

#include <algorithm>
#include <cstring>

namespace tavrin {

bool PeekedSource::peekMore() {
  const std::size_t known = head_.size();
  if (known == kMostHead) return false;
  head_.resize(kMostHead);
  const long long count = source_->read(head_.data() + known, kMostHead - known);
  head_.resize(known + static_cast<std::size_t>(std::max(count, 0LL)));
  hasEnded_ = count == 0;
  return count > 0;
}

long long PeekedSource::read(char* buffer, std::size_t size) {
  const std::size_t left = std::min(head_.size() - read_, size);
  if (left == 0) return source_->read(buffer, size);
  std::memcpy(buffer, head_.data() + read_, left);
  read_ += left;
  return static_cast<long long>(left);
}

}  // namespace tavrin
