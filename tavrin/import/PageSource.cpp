#include "tavrin/import/PageSource.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "packing/Packing.h"
#include "tavrin/import/FieldCursor.h"

namespace tavrin {

namespace {

/// What is unpacked at once; trace-cmd packs ten pages together.
constexpr std::uint32_t kLargestPack = 16U << 20U;

/// Where the pages of the CPU should end, and where they can at most.
std::uint64_t endOf(const RecordedCpu& cpu) {
  return cpu.offset + std::min(cpu.size, std::numeric_limits<std::uint64_t>::max() - cpu.offset);
}

/// Pages as the kernel wrote them.
class PlainPages final : public PageSource {
 public:
  PlainPages(RandomBytes& file, std::size_t pageSize, const RecordedCpu& cpu)
      : PageSource(file, pageSize), position_(cpu.offset), end_(endOf(cpu)) {}

  Page next() override {
    if (position_ == end_ || !fault_.empty()) return {};
    const std::uint64_t wanted = std::min<std::uint64_t>(pageSize_, end_ - position_);
    const std::uint64_t there = file_.size() - std::min(position_, file_.size());
    bytes_.resize(static_cast<std::size_t>(std::min(wanted, there)));
    try {
      if (!bytes_.empty()) file_.read(position_, bytes_);
      if (there < wanted) {
        throw FormatError(position_ + there, "pages up to offset " + std::to_string(end_),
                          "the end of the file");
      }
    } catch (const FormatError& error) {
      fault_ = error.what();
    }
    begin_ = position_;
    position_ += wanted;
    return {bytes_, !fault_.empty()};
  }
  std::string placeOf(std::size_t position) const override {
    return "offset " + std::to_string(begin_ + position);
  }

 private:
  std::uint64_t begin_ = 0;  // of the present page
  std::uint64_t position_;   // of the next one
  const std::uint64_t end_;
  std::vector<std::byte> bytes_;
};

/// Pages that are packed some at a time: the number of packs, then each one after its sizes.
class PackedPages final : public PageSource {
 public:
  PackedPages(RandomBytes& file, ByteOrder order, std::size_t pageSize, const RecordedCpu& cpu)
      : PageSource(file, pageSize),
        cursor_(file, order, std::min(cpu.offset, file.size()), endOfPacks(cpu, file.size())) {
    take([&] { packs_ = cursor_.number<std::uint32_t>("the number of packs"); });
  }

  Page next() override {
    begin_ += present_;
    if (begin_ == bytes_.size() && packs_ > 0 && fault_.empty()) {
      begin_ = 0;
      bytes_.clear();
      take([&] { unpack(); });
    }
    present_ = std::min(pageSize_, bytes_.size() - begin_);
    const bool isLast = begin_ + present_ == bytes_.size();
    return {std::span(bytes_).subspan(begin_, present_), isLast && !fault_.empty()};
  }
  std::string placeOf(std::size_t position) const override {
    return "byte " + std::to_string(begin_ + position) + " of what is packed at offset " +
           std::to_string(pack_);
  }

 private:
  /// The size that is told leaves the number of packs out.
  static std::uint64_t endOfPacks(const RecordedCpu& cpu, std::uint64_t fileSize) {
    const std::uint64_t end = endOf(cpu);
    return end > fileSize || fileSize - end < kCountSize ? fileSize : end + kCountSize;
  }

  template <typename Take>
  void take(const Take& taker) {
    try {
      taker();
    } catch (const FormatError& error) {
      fault_ = error.what();
    }
  }

  void unpack() {
    pack_ = cursor_.position();
    --packs_;
    const auto packedSize = cursor_.number<std::uint32_t>("the size of a pack");
    const auto size = cursor_.number<std::uint32_t>("the size of what is in a pack");
    if (size > kLargestPack) cursor_.fail("a smaller pack", std::to_string(size) + " bytes");
    const FieldCursor begin = cursor_;
    const std::uint64_t there = std::min<std::uint64_t>(packedSize, cursor_.left());
    const std::string packed = cursor_.bytes(there, there, "a pack");
    bytes_ = unpackUpTo(size, Packing::Zstd, packed);
    if (bytes_.size() == size) return;
    begin.fail(std::to_string(size) + " bytes of pages that are packed",
               std::to_string(bytes_.size()) + " that can be unpacked");
  }

  static constexpr std::size_t kCountSize = sizeof(std::uint32_t);

  FieldCursor cursor_;
  std::uint32_t packs_ = 0;  // that are left
  std::uint64_t pack_ = 0;   // where the present one is
  std::vector<std::byte> bytes_;
  std::size_t begin_ = 0;    // of the present page among them
  std::size_t present_ = 0;  // how long it is
};

}  // namespace

std::unique_ptr<PageSource> openPages(RandomBytes& file, const Recording& recording,
                                      const RecordedBuffer& buffer, const RecordedCpu& cpu) {
  if (!buffer.isPacked) return std::make_unique<PlainPages>(file, buffer.pageSize, cpu);
  return std::make_unique<PackedPages>(file, recording.order, buffer.pageSize, cpu);
}

}  // namespace tavrin
