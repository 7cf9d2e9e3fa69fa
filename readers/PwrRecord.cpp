#include "readers/PwrRecord.h"

#include <charconv>
#include <iterator>

namespace pwrfile {

namespace {

constexpr std::size_t kMarkSize = 4;

}  // namespace

std::string hexText(std::uint64_t number) {
  char digits[16];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), number, 16).ptr;
  return "0x" + std::string(digits, end);
}

bool PwrRecord::next() {
  startNext();
  have_ = read(0, kMarkSize);
  if (have_ == 0) return false;
  complete(kMarkSize);
  switch (u32(0)) {
    case magic_record::kMark:
      frame_ = Frame::Magic;
      complete(magic_record::kSize);
      break;
    case kFixedMark:
      frame_ = Frame::Fixed;
      completeByLength(kFixedLength, kFixedLengthLess, kFixedHeaderSize);
      break;
    case start_record::kMark:
      frame_ = Frame::Start;
      complete(start_record::kSize);
      break;
    case kDataMark:
      frame_ = Frame::Data;
      completeByLength(kDataLength, kDataLengthLess, kDataHeaderSize);
      break;
    default:
      fail(0, "the first bytes of a record", hexText(u32(0)));
  }
  setSize(have_);
  return true;
}

void PwrRecord::complete(std::size_t size) {
  if (have_ < size) have_ += read(have_, size - have_);
  if (have_ >= size) return;
  fail(have_,
       std::to_string(size - have_) + " more bytes of the record at " + std::to_string(offset()),
       "the end of the file");
}

void PwrRecord::completeByLength(std::size_t at, std::size_t less, std::size_t headerSize) {
  complete(at + sizeof(std::uint16_t));
  const std::size_t size = u16(at) + less;
  if (size < headerSize) {
    fail(at, "a length of at least " + std::to_string(headerSize - less), std::to_string(u16(at)));
  }
  complete(size);
}

void PwrRecord::expect(std::size_t at, std::uint64_t wanted, std::uint64_t found,
                       const char* what) const {
  if (wanted != found) fail(at, what + (" " + std::to_string(wanted)), std::to_string(found));
}

void PwrRecord::expectMark(std::size_t at, std::uint64_t wanted, std::uint64_t found,
                           const char* what) const {
  if (wanted != found) fail(at, what + (" " + hexText(wanted)), hexText(found));
}

void PwrRecord::expectSize(std::size_t wanted, const char* what) const {
  if (size() == wanted) return;
  fail(0, std::string(what) + " of " + std::to_string(wanted) + " bytes",
       std::to_string(size()) + " bytes");
}

void PwrRecord::require(bool isMet, std::size_t at, const char* expected,
                        std::uint64_t found) const {
  if (!isMet) fail(at, expected, std::to_string(found));
}

}  // namespace pwrfile
