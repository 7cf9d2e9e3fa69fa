#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>

#include "formats/pwr_format.h"
#include "readers/BinaryRecord.h"

namespace pwrfile {

/// How a record is framed. Its first four bytes tell.
enum class Frame : std::uint8_t { Magic, Fixed, Start, Data };

/// One record of a timeline file, and the way to get the next. Knows frames, lengths and byte
/// order, not what the fields mean. Holds one record at a time, so at most 64 KiB.
class PwrRecord : public BinaryRecord {
 public:
  explicit PwrRecord(std::istream& file)
      : BinaryRecord(file, kDataLengthLess + std::size_t{0xFFFF}) {}

  /// Reads the next record; false at the end of the file. Throws FormatError when its first bytes
  /// are those of no record, its length is below that of its header, or the file ends inside it.
  bool next();

  Frame frame() const { return frame_; }

  /// These throw FormatError. `wanted` and `found` are numbers of the field at `at`.
  void expect(std::size_t at, std::uint64_t wanted, std::uint64_t found, const char* what) const;
  /// The same with the numbers in hexadecimal digits.
  void expectMark(std::size_t at, std::uint64_t wanted, std::uint64_t found,
                  const char* what) const;
  void expectSize(std::size_t wanted, const char* what) const;
  /// Unless `isMet`. For what can be said without building a text first.
  void require(bool isMet, std::size_t at, const char* expected, std::uint64_t found) const;
  [[noreturn]] void fail(std::size_t at, const std::string& expected,
                         const std::string& found) const {
    throw FormatError(offset(at), expected, found);
  }

 private:
  /// Reads on until `size` bytes of the record are there.
  void complete(std::size_t size);
  void completeByLength(std::size_t at, std::size_t less, std::size_t headerSize);

  Frame frame_ = Frame::Magic;
  std::size_t have_ = 0;
};

/// A mark or a mask as a fault names it: "0x2400010".
std::string hexText(std::uint64_t number);

}  // namespace pwrfile
