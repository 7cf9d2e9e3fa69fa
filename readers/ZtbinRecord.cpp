#include "readers/ZtbinRecord.h"

#include <string>

namespace ztbin {

bool ZtbinRecord::next() {
  startNext();
  const std::size_t header = read(0, kHeaderSize);
  if (header == 0) return false;
  if (header < kHeaderSize) {
    throw FormatError(offset(), "a record header of 3 bytes",
                      "the end of the file after " + std::to_string(header));
  }
  const std::size_t body = u16(0);
  const std::size_t found = read(kHeaderSize, body);
  if (found < body) {
    throw FormatError(offset(kHeaderSize), "a record body of " + std::to_string(body) + " bytes",
                      "the end of the file after " + std::to_string(found));
  }
  setSize(kHeaderSize + body);
  return true;
}

void ZtbinRecord::requireSize(std::size_t size, const char* what) const {
  if (this->size() == size) return;
  throw FormatError(offset(),
                    "size " + std::to_string(size - kHeaderSize) + " for a " + what + " record",
                    "size " + std::to_string(this->size() - kHeaderSize));
}

}  // namespace ztbin
