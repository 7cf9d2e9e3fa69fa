#include "writers/text/RecordReader.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "writers/common/TextLog.h"

namespace {

constexpr std::size_t kFirstChunk = 256;
constexpr std::size_t kReadAtOnce = std::size_t{64} * 1024;
constexpr std::size_t kLengthSize = sizeof(std::uint32_t);

}  // namespace

RecordReader::~RecordReader() {
  if (file_ != nullptr) std::fclose(file_);
}

bool RecordReader::open(const std::string& path) {
  path_ = path;
  failed_ = true;
  if (!pwr::openFileHandle(&file_, path.c_str(), "rb")) {
    PW_LOG(kPlainLog, PW_LOG_WARNING, "WARNING: Unable to open temp file: %s\n", path.c_str());
    return false;
  }
  // From the default of one page it takes many more reads.
  std::setvbuf(file_, nullptr, _IOFBF, kReadAtOnce);
  failed_ = !allocate(kFirstChunk, "WARNING: Failed to allocate buffer of size %zu\n");
  return !failed_;
}

bool RecordReader::next(std::string_view& record) {
  while (!failed_) {
    const std::size_t left = filled_ - position_;
    std::size_t needed = kLengthSize;
    if (left >= kLengthSize) {
      std::uint32_t length = 0;
      std::memcpy(&length, chunk_.get() + position_, kLengthSize);
      needed += length;
      if (left >= needed) {
        record = {chunk_.get() + position_ + kLengthSize, length};
        position_ += needed;
        return true;
      }
    }
    if (atEnd_ && left == 0) return false;
    failed_ = !refill(needed);
  }
  return false;
}

/// Gets a chunk that starts with the current record and has room for `needed` bytes.
bool RecordReader::refill(std::size_t needed) {
  if (atEnd_) {
    PW_LOG(kPlainLog, PW_LOG_WARNING, "WARNING: Temp file ends within a record: %s\n",
           path_.c_str());
    return false;
  }
  if (position_ < filled_) tellRewinding();
  std::size_t size = capacity_;
  while (size < needed) size *= 2;
  if (size > capacity_ && !allocate(size, "WARNING: Failed to re-allocate buffer of size %zu\n")) {
    return false;
  }
  return readChunk();
}

void RecordReader::tellRewinding() const {
  const int offset = -static_cast<int>(filled_ - position_);
  const int position = static_cast<int>(position_);
  const int filled = static_cast<int>(filled_);
  if (filled_ - position_ < kLengthSize) {
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Rewinding file a by %d (%d %d)\n", offset, position,
           filled);
  } else {
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Rewinding file 2 a by %d (%d %d)\n", offset, position,
           filled);
  }
}

// What is left of the old chunk goes on to the new one.
bool RecordReader::allocate(std::size_t size, const char* complaint) {
  std::unique_ptr<char[]> larger(new (std::nothrow) char[size]);
  if (larger == nullptr) {
    PW_LOG(kPlainLog, PW_LOG_WARNING, complaint, size);
    return false;
  }
  if (filled_ > 0) std::memcpy(larger.get(), chunk_.get(), filled_);
  chunk_ = std::move(larger);
  capacity_ = size;
  return true;
}

bool RecordReader::readChunk() {
  const std::size_t left = filled_ - position_;
  std::memmove(chunk_.get(), chunk_.get() + position_, left);
  position_ = 0;
  filled_ = left + std::fread(chunk_.get() + left, 1, capacity_ - left, file_);
  if (filled_ == capacity_) return true;
  if (std::ferror(file_) != 0) {
    PW_LOG(kPlainLog, PW_LOG_WARNING, "WARNING: Error reading file %s: %d\n", path_.c_str(), errno);
    return false;
  }
  atEnd_ = true;
  return true;
}
