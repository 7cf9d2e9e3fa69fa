#include "writers/columns/RecordBuffer.h"

#include <algorithm>
#include <utility>

void RecordBuffer::grow(std::size_t needed) {
  const std::size_t capacity = std::max(needed, 2 * capacity_);
  std::unique_ptr<char[]> bytes(new char[capacity]);
  if (size_ > 0) std::memcpy(bytes.get(), bytes_.get(), size_);
  bytes_ = std::move(bytes);
  capacity_ = capacity;
}
