#pragma once

#include <cstdint>
#include <memory>

namespace pwr {

/// A growable byte store with one position for reading and one for writing; both start at 0. Used
/// by one writer on one thread.
///
/// Counts are in bytes; an operation that fails returns `kFailed`. After a failure the positions
/// keep the values they had reached, and the store stays usable.
class ZtBufferProvider {
 public:
  static constexpr std::uint32_t kFailed = 0xFFFFFFFF;

  ZtBufferProvider() = default;
  virtual ~ZtBufferProvider() = default;
  ZtBufferProvider(const ZtBufferProvider&) = delete;
  ZtBufferProvider& operator=(const ZtBufferProvider&) = delete;

  /// Copies up to `count` bytes from the read position and moves it behind them. Returns the
  /// number of bytes copied, which is less than `count` only at the end of the store.
  virtual std::uint32_t read(void* destination, std::uint32_t count) = 0;

  /// Puts `count` bytes at the write position, over what is there, and moves it behind them.
  virtual std::uint32_t write(const void* source, std::uint32_t count) = 0;

  /// As `read`, but the read position stays. What cannot be read is left out without a failure.
  virtual std::uint32_t peek(void* destination, std::uint32_t count) = 0;

  /// The highest offset ever written.
  virtual std::uint64_t size() const = 0;

  /// Moves the read position to the start, or to the end.
  virtual void resetForReading() = 0;
  virtual void resetToEnd() = 0;

  /// Moves the write position to the read position and returns it. What lies behind the new write
  /// position and has not been written out yet may get lost, so whoever wants to keep it has it
  /// written out before: `resetForReading` and `resetToEnd` do so.
  virtual std::uint64_t seekWriteToRead() = 0;

  /// A new, empty store of the same kind. Throws as the constructor of that kind does.
  virtual std::unique_ptr<ZtBufferProvider> create() const = 0;

  /// Inserts `count` bytes at `offset` and shifts what is behind them towards the end. The read
  /// position keeps its value; the write position ends up behind the last byte that was moved.
  /// Moves the write position to `offset` first, with what `seekWriteToRead` says of that.
  /// Returns 0, or -1 on failure or when `offset` lies behind the end (nothing is changed then).
  virtual int insert(std::uint64_t offset, const void* source, std::uint32_t count) = 0;

  /// Reads up to `count` bytes that lie before the read position and moves it back to the first of
  /// them. When there are fewer, they fill the end of the destination.
  virtual std::uint32_t readBackward(void* destination, std::uint32_t count) = 0;
};

}  // namespace pwr
