#include "tavrin/decoding/RingPage.h"

namespace tavrin {

namespace {

// What the length of the data has beside it.
constexpr std::uint64_t kLengthMask = (1U << 27U) - 1;
constexpr std::uint64_t kMissedEvents = 1U << 31U;
constexpr std::uint64_t kMissedStored = 1U << 30U;

/// The first word of a record is its type and the time since the one before.
constexpr unsigned int kTypeBits = 5;
constexpr unsigned int kDeltaBits = 27;
constexpr std::size_t kWord = 4;

// Smaller types are events of that many words; 0 is an event whose length is in the next word.
enum RecordType : std::uint32_t { kPadding = 29, kTimeExtend = 30, kTimeStamp = 31 };

/// A time stamp leaves out the highest bits of the time.
constexpr unsigned long long kStampHidden = ~0ULL << (32U + kDeltaBits);

std::size_t wholeWords(std::size_t size) {
  return (size + kWord - 1) / kWord * kWord;
}

}  // namespace

void RingPage::load(std::span<const std::byte> page, bool isCut) {
  page_ = page;
  position_ = dataOffset();
  end_ = dataOffset();
  isAfterLoss_ = false;
  lost_ = 0;
  fault_ = nullptr;
  if (page.size() < dataOffset()) {
    position_ = page.size();
    fail("the page ends within its header");
    return;
  }
  time_ = layout_.order.number<std::uint64_t>(page.data());
  const std::uint64_t commit = longAt(kCommitOffset);
  end_ += commit & kLengthMask;
  if (end_ > page.size() && !isCut) {
    position_ = kCommitOffset;
    fail("the page says that it has more than there is room for");
    return;
  }
  isAfterLoss_ = (commit & kMissedEvents) != 0;
  if ((commit & kMissedStored) != 0 && end_ + layout_.longSize <= page.size()) {
    lost_ = longAt(end_);
  }
}

bool RingPage::next() {
  while (fault_ == nullptr && position_ < end_) {
    if (page_.size() - position_ < kWord) return fail("an event is cut off");
    const std::byte* const place = page_.data() + position_;
    const auto word = layout_.order.number<std::uint32_t>(place);
    const bool isBig = layout_.order.isBig();
    const std::uint32_t type = isBig ? word >> kDeltaBits : word & ((1U << kTypeBits) - 1);
    const std::uint32_t delta = isBig ? word & ((1U << kDeltaBits) - 1) : word >> kTypeBits;
    if (type == kPadding && delta == 0) {  // nothing up to the end
      position_ = end_;
      return false;
    }
    time_ += type == kTimeStamp ? 0 : delta;
    if (type > 0 && type < kPadding) return take(kWord, type * kWord, kWord + type * kWord);

    if (page_.size() - position_ < 2 * kWord) return fail("an event is cut off");
    const auto more = layout_.order.number<std::uint32_t>(place + kWord);
    if (type == 0) {
      if (more < kWord) return fail("an event has no length");
      return take(2 * kWord, more - kWord, kWord + wholeWords(more));
    }
    if (type == kTimeExtend) time_ += static_cast<unsigned long long>(more) << kDeltaBits;
    if (type == kTimeStamp) {
      time_ = (time_ & kStampHidden) | static_cast<unsigned long long>(more) << kDeltaBits | delta;
    }
    if (!step(type == kPadding ? kWord + wholeWords(more) : 2 * kWord)) return false;
  }
  return false;
}

std::uint64_t RingPage::longAt(std::size_t position) const {
  const std::byte* const place = page_.data() + position;
  return layout_.longSize == sizeof(std::uint32_t) ? layout_.order.number<std::uint32_t>(place)
                                                   : layout_.order.number<std::uint64_t>(place);
}

/// The event has `size` bytes from `offset` on in its record.
bool RingPage::take(std::size_t offset, std::size_t size, std::size_t total) {
  const std::size_t begin = position_ + offset;
  if (!step(total)) return false;
  event_ = page_.subspan(begin, size);
  return true;
}

/// Behind a record of that many bytes.
bool RingPage::step(std::size_t size) {
  if (size > end_ - position_) return fail("an event is longer than what is left of its page");
  if (size > page_.size() - position_) return fail("an event is cut off");
  position_ += size;
  return true;
}

bool RingPage::fail(const char* fault) {
  fault_ = fault;
  return false;
}

}  // namespace tavrin
