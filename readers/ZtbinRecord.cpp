#include "readers/ZtbinRecord.h"

namespace ztbin {

bool ZtbinRecord::next() {
  start_ += size_;
  size_ = 0;
  const std::size_t header = read(0, kHeaderSize);
  if (header == 0) return false;
  if (header < kHeaderSize) {
    throw FormatError(start_, "a record header of 3 bytes",
                      "the end of the file after " + std::to_string(header));
  }
  const std::size_t body = u16(0);
  const std::size_t found = read(kHeaderSize, body);
  if (found < body) {
    throw FormatError(start_ + kHeaderSize, "a record body of " + std::to_string(body) + " bytes",
                      "the end of the file after " + std::to_string(found));
  }
  size_ = kHeaderSize + body;
  return true;
}

void ZtbinRecord::requireSize(std::size_t size, const char* what) const {
  if (size_ == size) return;
  throw FormatError(offset(),
                    "size " + std::to_string(size - kHeaderSize) + " for a " + what + " record",
                    "size " + std::to_string(size_ - kHeaderSize));
}

std::string ZtbinRecord::text(std::size_t at) const {
  return {bytes_.begin() + static_cast<std::ptrdiff_t>(at),
          bytes_.begin() + static_cast<std::ptrdiff_t>(size_)};
}

std::size_t ZtbinRecord::read(std::size_t at, std::size_t count) {
  file_.read(reinterpret_cast<char*>(bytes_.data() + at), static_cast<std::streamsize>(count));
  if (file_.bad()) throw FormatError(start_ + at, "more bytes", "a file that cannot be read");
  return static_cast<std::size_t>(file_.gcount());
}

}  // namespace ztbin
