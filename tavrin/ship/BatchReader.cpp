#include "tavrin/ship/BatchReader.h"

#include <algorithm>

namespace tavrin {

namespace {

constexpr std::size_t kPiece = 65536;

}  // namespace

BatchReader::BatchReader(const std::string& path, std::uint64_t from) : file_(path), skip_(from) {
  readPacked();
  const auto packing = packingOfContent(packed_);
  if (packing == Packing::Gzip) unpacker_ = createUnpacker(Packing::Gzip);
  if (packing && unpacker_ == nullptr) noteFault("it is packed in another way than gzip's");
  // As a machine leaves it that lost its power before the file was on disk.
  if (packed_.empty() && packingOfName(path) == Packing::Gzip) noteFault("it is empty");
}

void BatchReader::noteFault(std::string cause) {
  fault_ = std::move(cause);
  isAtEnd_ = true;
}

/// Reads the next piece of the file, if what was read before is used up.
void BatchReader::readPacked() {
  if (taken_ < packed_.size()) return;
  taken_ = 0;
  packed_.resize(kPiece);
  const long long count = file_.read(packed_.data(), packed_.size());
  packed_.resize(static_cast<std::size_t>(std::max(count, 0LL)));
  if (count < 0) noteFault("it cannot be read: " + file_.readError());
}

void BatchReader::unpack() {
  const std::size_t known = text_.size();
  if (unpacker_ == nullptr) {
    text_.append(packed_, taken_);
    taken_ = packed_.size();
    return;
  }
  std::string_view packed = std::string_view(packed_).substr(taken_);
  text_.resize(known + kPiece);
  const long long count = unpacker_->unpack(packed, text_.data() + known, kPiece);
  taken_ = packed_.size() - packed.size();
  text_.resize(known + static_cast<std::size_t>(std::max(count, 0LL)));
  if (count < 0) noteFault("it is damaged: it is not what gzip writes");
}

/// Reads until there is a full batch, or no more.
void BatchReader::fill() {
  while (!isAtEnd_ && text_.size() <= kMostText) {
    readPacked();
    if (isAtEnd_) return;
    // An unpacker may have more to give when it has taken everything.
    const std::size_t known = text_.size();
    const bool isEnd = packed_.empty();
    unpack();
    if (skip_ > 0) {
      const std::size_t skipped = std::min<std::uint64_t>(skip_, text_.size());
      consume(skipped);
      skip_ -= skipped;
      if (skipped > 0) continue;
    }
    if (!isEnd || text_.size() > known || isAtEnd_) continue;
    isAtEnd_ = true;
    const bool isWhole = unpacker_ == nullptr || unpacker_->isBetweenFrames();
    if (!isWhole) noteFault("it is damaged: it ends in the middle of what gzip has packed");
  }
}

std::string_view BatchReader::peek(std::size_t most) {
  fill();
  const std::string_view text = text_;
  const bool hasLast = isAtEnd_ && fault_.empty();
  if (hasLast && text.size() <= most) return text;
  const std::size_t last = text.substr(0, most).rfind('\n');
  if (last != std::string_view::npos) return text.substr(0, last + 1);
  const std::size_t first = text.find('\n');
  if (first < kMostText) return text.substr(0, first + 1);
  if (hasLast) return text;
  if (fault_.empty()) {
    noteFault("it has a line of more than " + std::to_string(kMostText) + " bytes");
  }
  return {};
}

void BatchReader::consume(std::size_t size) {
  const auto end = text_.begin() + static_cast<std::ptrdiff_t>(size);
  lines_ += static_cast<std::uint64_t>(std::count(text_.begin(), end, '\n'));
  if (size > 0 && text_[size - 1] != '\n') ++lines_;
  offset_ += size;
  text_.erase(text_.begin(), end);
}

bool BatchReader::isWholePackedFile(std::size_t size) const {
  return unpacker_ != nullptr && offset_ == 0 && isAtEnd_ && fault_.empty() && size == text_.size();
}

}  // namespace tavrin
