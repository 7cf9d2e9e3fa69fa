#pragma once

#include <cstddef>
#include <istream>

#include "formats/ztbin_format.h"
#include "readers/BinaryRecord.h"

namespace ztbin {

/// One record of a binary stream, and the way to get the next. Knows lengths and byte order, not
/// what the fields mean. Holds one record at a time, so at most 64 KiB.
class ZtbinRecord : public BinaryRecord {
 public:
  explicit ZtbinRecord(std::istream& file) : BinaryRecord(file, kHeaderSize + kMaxBody) {}

  /// Reads the next record; false at the end of the file. Throws FormatError when the file ends
  /// inside a record.
  bool next();

  RecordType type() const { return static_cast<RecordType>(u8(kTypeOffset)); }

  /// Throws FormatError unless the record is `size` bytes long.
  void requireSize(std::size_t size, const char* what) const;
};

}  // namespace ztbin
