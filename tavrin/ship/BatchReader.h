#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "packing/Packing.h"
#include "tavrin/platform/InputFile.h"

namespace tavrin {

/// A file of lines, plain or packed by gzip in one piece or several, read in batches of whole
/// lines. Takes memory for a batch, however long the file is. The last line needs no line break.
class BatchReader {
 public:
  /// More text is never in a batch; a line that is longer is a fault of the file.
  static constexpr std::size_t kMostText = 2'000'000;

  /// Skips the first `from` bytes of the text. Throws CommandError when it cannot be opened.
  BatchReader(const std::string& path, std::uint64_t from);

  /// The next whole lines, as many as `most` bytes have, but at least one; "" at the end of the
  /// file, or where it is faulty. They stay the next ones until they are consumed.
  std::string_view peek(std::size_t most);
  /// Goes on behind what `peek` has returned, of which this is the size.
  void consume(std::size_t size);

  /// Why the file cannot be read any further; "" if it can. What was sound before comes first.
  const std::string& fault() const { return fault_; }
  /// Bytes of the text before the next batch.
  std::uint64_t offset() const { return offset_; }
  /// Lines before the next batch.
  std::uint64_t lines() const { return lines_; }
  /// Whether a batch of this size, which is the next one, is the whole file, and that is packed by
  /// gzip: then its bytes can be sent as they are.
  bool isWholePackedFile(std::size_t size) const;

 private:
  void fill();
  void readPacked();
  void unpack();
  void noteFault(std::string cause);

  InputFile file_;
  std::unique_ptr<Unpacker> unpacker_;  ///< null for a plain file
  std::string packed_;                  ///< read, but not unpacked
  std::size_t taken_ = 0;               ///< of `packed_`
  std::string text_;                    ///< unpacked, but not consumed
  std::uint64_t offset_ = 0;
  std::uint64_t lines_ = 0;
  std::uint64_t skip_;
  bool isAtEnd_ = false;
  std::string fault_;
};

}  // namespace tavrin
