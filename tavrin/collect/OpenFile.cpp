#include "tavrin/collect/OpenFile.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <utility>

#include "tavrin/common/Refusals.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr std::size_t kFirstBuffer = 4096;
constexpr std::size_t kLargestText = 64U << 20U;
/// A read that gives less than was asked for has found the end, with one exception: the kernel puts
/// the records of a text (seq_file), mostly lines, into a buffer of at least 4 KiB, and ends a read
/// at a record that does not fit any more. Behind so short a text that would be a line of more than
/// 2 KiB, after shorter ones; so the end is not asked for. (Texts of sysfs, and of one record, come
/// whole in any case.)
constexpr std::size_t kSurelyWhole = 2048;

/// Left for the outputs and everything else that the process opens.
constexpr rlim_t kMostOtherFiles = 1024;

std::atomic<unsigned long long> filesKept = 0;
std::atomic<unsigned long long> filesBeyondLimit = 0;

/// How many files that are read in every pass may stay open.
rlim_t mostFilesKept() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return RLIM_INFINITY;
  return limit.rlim_cur - std::min(limit.rlim_cur / 4, kMostOtherFiles);
}

}  // namespace

bool OpenFile::isReadable(const std::string& path) {
  // access(2) would ask for the rights of the real user, without capabilities.
  if (faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0) return true;
  Refusals::note(path, errno);
  return false;
}

unsigned long long OpenFile::countBeyondLimit() {
  return filesBeyondLimit;
}

OpenFile::~OpenFile() {
  close();
  if (place_ == Place::KeptOpen) --filesKept;
  if (place_ == Place::BeyondLimit && use_ == Use::EveryPass) --filesBeyondLimit;
}

OpenFile::OpenFile(OpenFile&& other) noexcept
    : path_(std::move(other.path_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      use_(other.use_),
      place_(std::exchange(other.place_, Place::Undecided)),
      buffer_(std::move(other.buffer_)) {}

OpenFile& OpenFile::operator=(OpenFile&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(descriptor_, other.descriptor_);
  std::swap(use_, other.use_);
  std::swap(place_, other.place_);
  std::swap(buffer_, other.buffer_);
  return *this;
}

int OpenFile::open() {
  if (descriptor_ >= 0) return 0;
  // Close-on-exec keeps the files away from a recorded command. Without waiting: in a copy of the
  // kernel's files there may be a pipe that nobody writes to, from which no text can be read then.
  while (descriptor_ < 0) {
    descriptor_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor_ < 0 && errno != EINTR) return errno;
  }
  if (place_ == Place::Undecided && use_ != Use::Once) takePlace();
  return 0;
}

void OpenFile::takePlace() {
  constexpr rlim_t kShareOfRare = 8;
  const rlim_t most = mostFilesKept();
  const bool isKept = filesKept < (use_ == Use::Rare ? most / kShareOfRare : most);
  place_ = isKept ? Place::KeptOpen : Place::BeyondLimit;
  if (isKept) ++filesKept;
  if (!isKept && use_ == Use::EveryPass) ++filesBeyondLimit;
}

void OpenFile::close() {
  if (descriptor_ < 0) return;
  ::close(descriptor_);
  descriptor_ = -1;
}

/// Ends a read. Returns `error`.
int OpenFile::finish(int error) {
  if (error != 0) Refusals::note(path_, error);
  if (error != 0 || !staysOpen()) close();
  return error;
}

int OpenFile::readAt(char* buffer, std::size_t size, std::size_t offset, std::size_t& length) {
  for (;;) {
    const ssize_t got = ::pread(descriptor_, buffer, size, static_cast<off_t>(offset));
    if (got >= 0) {
      length = static_cast<std::size_t>(got);
      return 0;
    }
    if (errno != EINTR) return errno;
  }
}

int OpenFile::readText(std::string_view& text) {
  int error = open();
  if (buffer_.empty()) buffer_.resize(kFirstBuffer);
  std::size_t length = 0;
  for (std::size_t got = 1; error == 0 && got != 0;) {
    error = readAt(buffer_.data() + length, buffer_.size() - length, length, got);
    if (error != 0) break;
    length += got;
    if (length <= kSurelyWhole) break;
    if (length < buffer_.size()) continue;
    if (buffer_.size() >= kLargestText) {
      error = EFBIG;
    } else {
      // From the front again, so that the text is not spliced from two moments.
      buffer_.resize(buffer_.size() * 2);
      length = 0;
    }
  }
  if (error == 0 && length == 0) error = ENODATA;
  if (error == 0) text = std::string_view(buffer_.data(), length);
  return finish(error);
}

template <typename Number>
int OpenFile::readAnyNumber(Number& value) {
  std::array<char, 64> buffer;
  std::size_t length = 0;
  int error = open();
  if (error == 0) error = readAt(buffer.data(), buffer.size(), 0, length);
  if (error == 0 && length == 0) error = ENODATA;
  std::string_view text(buffer.data(), length);
  if (error == 0 && !takeNumber(text, value)) error = EINVAL;
  return finish(error);
}

template int OpenFile::readAnyNumber(unsigned long long& value);
template int OpenFile::readAnyNumber(long long& value);

}  // namespace tavrin
