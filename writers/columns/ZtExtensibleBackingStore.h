#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>

#include "hostcommon/Platform.h"
#include "writers/columns/ZtBufferProvider.h"

namespace pwr {

/// A store that keeps one range of its bytes in memory, at most 1 MiB, and everything else in a
/// temporary file of its own, which is deleted with the store. A store that fits into its buffer
/// does not write to the file before the range has to move.
class ZtExtensibleBackingStore final : public ZtBufferProvider {
 public:
  /// Creates the temporary file in the current folder, readable by the user alone. Throws a C
  /// string, after logging the cause, when that fails; errno has the cause then.
  ZtExtensibleBackingStore();
  ~ZtExtensibleBackingStore() override;

  std::uint32_t read(void* destination, std::uint32_t count) override;
  std::uint32_t write(const void* source, std::uint32_t count) override {
    // Nearly all writes append within the range in memory.
    const bool appends = writePosition_ == size_ && covers_i(writePosition_);
    if (!appends || count == 0 || count > length_ - (writePosition_ - bufferStart_)) {
      return writeAnywhere_i(source, count);
    }
    std::memcpy(buffer_.get() + (writePosition_ - bufferStart_), source, count);
    dirty_ = true;
    size_ = writePosition_ += count;
    return count;
  }
  std::uint32_t peek(void* destination, std::uint32_t count) override;
  std::uint64_t size() const override { return size_; }
  void resetForReading() override;
  void resetToEnd() override;
  std::uint64_t seekWriteToRead() override;
  std::unique_ptr<ZtBufferProvider> create() const override;
  int insert(std::uint64_t offset, const void* source, std::uint32_t count) override;
  std::uint32_t readBackward(void* destination, std::uint32_t count) override;

  std::uint64_t getReadPosition() const { return readPosition_; }
  std::uint64_t getWritePosition() const { return writePosition_; }
  /// Moves the read position and has the range in memory start there, for which everything before
  /// the write position is written to the file. False when the range could not be moved; the
  /// position is set all the same.
  bool setReadPosition(std::uint64_t position);
  /// Reads what the range in memory has from the read position on, without copying it: valid until
  /// the next operation. Empty at the end of the store, and when the range could not be moved.
  std::span<const char> readInPlace();
  /// Whether the last bytes written are in memory only.
  bool isDirty() const { return dirty_; }
  const std::string& getTempFileName() const { return tempFileName_; }

 private:
  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }
  };

  bool openTempFile_i();
  bool covers_i(std::uint64_t position) const {
    return loaded_ && position >= bufferStart_ && position - bufferStart_ <= length_;
  }
  std::uint32_t writeAnywhere_i(const void* source, std::uint32_t count);
  bool reload_i(std::uint64_t position);
  bool flush_i();
  bool makeRoom_i();
  bool resize_i(std::size_t length);
  bool copyForward_i(char* destination, std::uint32_t count, std::uint32_t& copied);
  bool shiftBehind_i(const char* source, std::uint32_t count, char* const (&scratch)[2]);
  std::uint64_t startOfRangeBefore_i(std::uint64_t end) const;

  platform::PrivateFile file_;
  // Whether the range has bytes that the file lacks. Those before the write position get there
  // before the range moves.
  bool dirty_ = false;
  std::uint64_t readPosition_ = 0;
  std::uint64_t writePosition_ = 0;
  std::uint64_t size_ = 0;
  // The range in memory: `length_` bytes from offset `bufferStart_`. `loaded_` is false when the
  // buffer does not hold them, after a read that failed.
  std::uint64_t bufferStart_ = 0;
  std::size_t length_ = 0;
  bool loaded_ = true;
  // From malloc: realloc grows a large block in place, so that the old and the new one never exist
  // side by side as they would in a vector.
  std::unique_ptr<char, Free> buffer_;
  std::string tempFileName_;
};

}  // namespace pwr
