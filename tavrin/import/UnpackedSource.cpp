#include "tavrin/import/UnpackedSource.h"

namespace tavrin {

/// Some media fill up a file with zeros.
bool UnpackedSource::isAtPadding() const {
  return unpacker_->isBetweenFrames() && unread_.starts_with('\0');
}

long long UnpackedSource::read(char* buffer, std::size_t size) {
  for (;;) {
    if (isAtPadding()) return 0;
    const std::size_t known = unread_.size();
    const long long count = unpacker_->unpack(unread_, buffer, size);
    if (count > 0) return count;
    isDamaged_ = count < 0 || (known > 0 && unread_.size() == known);
    if (isDamaged_) return -1;
    if (!unread_.empty()) continue;
    const long long more = packed_->read(buffer_.data(), buffer_.size());
    if (more <= 0) return more;
    unread_ = std::string_view(buffer_).substr(0, static_cast<std::size_t>(more));
  }
}

std::string UnpackedSource::readError() const {
  return isDamaged_ ? "what is packed in it is damaged" : packed_->readError();
}

}  // namespace tavrin
