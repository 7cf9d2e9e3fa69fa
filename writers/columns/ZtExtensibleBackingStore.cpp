#include "writers/columns/ZtExtensibleBackingStore.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "writers/common/TextLog.h"

namespace pwr {

namespace {

constexpr std::size_t kMaxBufferSize = 0x100000;

void logFailure(const char* message, int errnum) {
  PW_LOG(kPlainLog, PW_LOG_WARNING, "%s: %s: errnum=%d: %s\n",
         g_pluginEnvironment->getLoggerPrefix(PW_LOG_WARNING), message, errnum,
         systemErrorText(errnum).c_str());
}

void warnOfReset() {
  PW_LOG(kPlainLog, PW_LOG_WARNING, "WARNING: WARNING: couldn't reset buffer for reading!\n");
}

}  // namespace

ZtExtensibleBackingStore::ZtExtensibleBackingStore() {
  if (resize_i(1) && openTempFile_i()) return;
  const int errnum = errno;
  logFailure("open error", errnum);
  PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Failed to initialize temporary file %s: errnum=%d: %s\n",
         tempFileName_.c_str(), errnum, systemErrorText(errnum).c_str());
  errno = errnum;
  throw "Couldn't initialize buffer\n";
}

ZtExtensibleBackingStore::~ZtExtensibleBackingStore() {
  file_.close();
  const bool isRemoved = platform::removeFile(tempFileName_);
  forgetTemporary(tempFileName_.c_str());
  if (isRemoved) return;
  PW_LOG(kPlainLog, PW_LOG_DEBUG, "DEBUG: couldn't delete tmp file %s\n", tempFileName_.c_str());
}

// Process ids are used again, so a name can be that of a file which a killed run left behind.
bool ZtExtensibleBackingStore::openTempFile_i() {
  const std::string start = "./_" + std::to_string(platform::processId()) + "_";
  for (int attempt = 0; attempt < RAND_MAX; ++attempt) {
    tempFileName_ = start + std::to_string(std::rand());
    if (file_.create(tempFileName_)) {
      // Not before: until then it may be the name of somebody else's file.
      noteTemporary(tempFileName_.c_str());
      return true;
    }
    if (errno != EEXIST) return false;
  }
  return false;
}

/// Moves the range in memory to `position`.
bool ZtExtensibleBackingStore::reload_i(std::uint64_t position) {
  if (!flush_i()) {
    std::fputs("ERROR flushing dirty buffer while rewinding!\n", stderr);
    return false;
  }
  if (!file_.seek(position)) {
    logFailure("seekg error", errno);
    return false;
  }
  bufferStart_ = position;
  loaded_ = true;
  if (position >= size_) return true;
  const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(length_, size_ - position));
  if (file_.read(buffer_.get(), count)) return true;
  logFailure("read error", errno);
  loaded_ = false;
  return false;
}

/// Writes the range up to the write position, and nothing of what is behind it.
bool ZtExtensibleBackingStore::flush_i() {
  if (!dirty_) return true;
  if (!file_.seek(bufferStart_)) {
    logFailure("seekg error", errno);
    return false;
  }
  const std::uint64_t end = std::min({writePosition_, size_, bufferStart_ + length_});
  const std::uint64_t count = end > bufferStart_ ? end - bufferStart_ : 0;
  if (!file_.write(buffer_.get(), static_cast<std::size_t>(count))) {
    logFailure("write error while flushing to disk!\n", errno);
    return false;
  }
  dirty_ = false;
  return true;
}

std::uint32_t ZtExtensibleBackingStore::writeAnywhere_i(const void* source, std::uint32_t count) {
  writePosition_ = std::min(writePosition_, size_);
  if (!covers_i(writePosition_) && !reload_i(writePosition_)) return kFailed;
  const char* from = static_cast<const char*>(source);
  std::uint32_t left = count;
  while (left > 0) {
    const auto offset = static_cast<std::size_t>(writePosition_ - bufferStart_);
    const auto step = static_cast<std::uint32_t>(std::min<std::size_t>(left, length_ - offset));
    if (step == 0) {
      if (!makeRoom_i()) return kFailed;
      continue;
    }
    std::memcpy(buffer_.get() + offset, from, step);
    dirty_ = true;
    writePosition_ += step;
    size_ = std::max(size_, writePosition_);
    from += step;
    left -= step;
  }
  return count;
}

/// Makes room behind the write position, which is at the end of the range.
bool ZtExtensibleBackingStore::makeRoom_i() {
  if (writePosition_ < size_) return reload_i(writePosition_);
  // Without memory for a larger buffer the store goes on with the one it has.
  if (length_ < kMaxBufferSize && resize_i(std::min(kMaxBufferSize, 2 * length_))) return true;
  if (!flush_i()) return false;
  bufferStart_ = writePosition_;
  return true;
}

bool ZtExtensibleBackingStore::resize_i(std::size_t length) {
  char* const resized = static_cast<char*>(std::realloc(buffer_.get(), length));
  if (resized == nullptr) return false;
  static_cast<void>(buffer_.release());
  buffer_.reset(resized);
  length_ = length;
  return true;
}

std::uint32_t ZtExtensibleBackingStore::read(void* destination, std::uint32_t count) {
  if (readPosition_ > size_) return kFailed;
  if (!covers_i(readPosition_) && !reload_i(readPosition_)) return kFailed;
  std::uint32_t copied = 0;
  return copyForward_i(static_cast<char*>(destination), count, copied) ? copied : kFailed;
}

std::uint32_t ZtExtensibleBackingStore::peek(void* destination, std::uint32_t count) {
  const std::uint64_t position = readPosition_;
  const std::uint64_t rangeBefore = bufferStart_;
  std::uint32_t copied = 0;
  copyForward_i(static_cast<char*>(destination), count, copied);
  readPosition_ = position;
  if (bufferStart_ != rangeBefore && bufferStart_ != position) reload_i(position);
  return copied;
}

/// Reads until `count` bytes are there or the store ends. False when the range cannot be moved;
/// `copied` is right all the same.
bool ZtExtensibleBackingStore::copyForward_i(char* destination, std::uint32_t count,
                                             std::uint32_t& copied) {
  while (copied < count && readPosition_ < size_) {
    const std::uint64_t end = std::min(size_, bufferStart_ + length_);
    if (!covers_i(readPosition_) || readPosition_ >= end) {
      if (!reload_i(readPosition_)) return false;
      continue;
    }
    const auto step =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(count - copied, end - readPosition_));
    std::memcpy(destination + copied, buffer_.get() + (readPosition_ - bufferStart_), step);
    readPosition_ += step;
    copied += step;
  }
  return true;
}

std::span<const char> ZtExtensibleBackingStore::readInPlace() {
  if (readPosition_ >= size_) return {};
  const bool isInMemory = covers_i(readPosition_) && readPosition_ < bufferStart_ + length_;
  if (!isInMemory && !reload_i(readPosition_)) return {};
  const std::uint64_t end = std::min(size_, bufferStart_ + length_);
  const std::span<const char> bytes(buffer_.get() + (readPosition_ - bufferStart_),
                                    static_cast<std::size_t>(end - readPosition_));
  readPosition_ = end;
  return bytes;
}

void ZtExtensibleBackingStore::resetForReading() {
  if (!setReadPosition(0)) warnOfReset();
}

void ZtExtensibleBackingStore::resetToEnd() {
  readPosition_ = size_;
  if (!reload_i(startOfRangeBefore_i(size_))) warnOfReset();
}

bool ZtExtensibleBackingStore::setReadPosition(std::uint64_t position) {
  readPosition_ = position;
  return reload_i(position);
}

/// Where the range has to start so that it ends at `end`.
std::uint64_t ZtExtensibleBackingStore::startOfRangeBefore_i(std::uint64_t end) const {
  return end > length_ ? end - length_ : 0;
}

std::uint64_t ZtExtensibleBackingStore::seekWriteToRead() {
  return writePosition_ = readPosition_;
}

std::unique_ptr<ZtBufferProvider> ZtExtensibleBackingStore::create() const {
  return std::make_unique<ZtExtensibleBackingStore>();
}

int ZtExtensibleBackingStore::insert(std::uint64_t offset, const void* source,
                                     std::uint32_t count) {
  if (offset > size_) return -1;
  const std::unique_ptr<char[]> first(new (std::nothrow) char[count]);
  const std::unique_ptr<char[]> second(new (std::nothrow) char[count]);
  if (first == nullptr || second == nullptr) return -1;
  const std::uint64_t position = readPosition_;
  readPosition_ = writePosition_ = offset;
  const bool shifted =
      shiftBehind_i(static_cast<const char*>(source), count, {first.get(), second.get()});
  readPosition_ = position;
  return shifted ? 0 : -1;
}

/// Writes `count` bytes at the write position, then the bytes that these displaced, and so on to
/// the end of the store. The read position has to be the write position.
bool ZtExtensibleBackingStore::shiftBehind_i(const char* source, std::uint32_t count,
                                             char* const (&scratch)[2]) {
  const char* pending = source;
  std::uint32_t pendingCount = count;
  for (std::size_t turn = 0; pending != nullptr && pendingCount > 0; ++turn) {
    // Fewer bytes than `count` are the last ones of the store: they displace none.
    char* const displaced = pendingCount == count ? scratch[turn % 2] : nullptr;
    const std::uint32_t displacedCount = displaced != nullptr ? read(displaced, count) : 0;
    if (displacedCount == kFailed || write(pending, pendingCount) == kFailed) return false;
    pending = displaced;
    pendingCount = displacedCount;
  }
  return true;
}

std::uint32_t ZtExtensibleBackingStore::readBackward(void* destination, std::uint32_t count) {
  if (readPosition_ > size_) return kFailed;
  if (!covers_i(readPosition_) && !reload_i(startOfRangeBefore_i(readPosition_))) return kFailed;
  char* const to = static_cast<char*>(destination);
  std::uint32_t left = count;
  while (left > 0 && readPosition_ > 0) {
    const auto step =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(left, readPosition_ - bufferStart_));
    if (step == 0) {
      if (!reload_i(startOfRangeBefore_i(readPosition_))) return kFailed;
      continue;
    }
    left -= step;
    readPosition_ -= step;
    std::memcpy(to + left, buffer_.get() + (readPosition_ - bufferStart_), step);
  }
  return count - left;
}

}  // namespace pwr
