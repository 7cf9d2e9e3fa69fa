#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "hostcommon/Platform.h"

namespace pwr::platform {

namespace {

constexpr mode_t kAsTheUserMasks = 0666;

// strerror_r returns int (POSIX) or the text (GNU); overloads take whichever it is.
[[maybe_unused]] const char* chosenText(int /*status*/, const char* buffer) {
  return buffer;
}
[[maybe_unused]] const char* chosenText(const char* text, const char* /*buffer*/) {
  return text;
}

/// The descriptor of a new file, or -1 with errno set.
int createNewFile(const char* path, Access access) {
  const mode_t mode = access == Access::TheUserAlone ? S_IRUSR | S_IWUSR : kAsTheUserMasks;
  return open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
}

/// Calls `transfer` with what is left of `size` bytes, and how many are behind it, until nothing
/// is. False with errno set when it fails or moves nothing.
template <typename Transfer>
bool transferAll(std::size_t size, const Transfer& transfer) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = transfer(done, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (count == 0) errno = EIO;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

FILE* openFile(const char* path, const char* mode) {
  return std::fopen(path, (std::string(mode) + "e").c_str());
}

FILE* createExclusive(const char* path, Access access) {
  const int file = createNewFile(path, access);
  if (file < 0) return nullptr;
  // Until it is closed, whoever finds it sees that it is being written.
  flock(file, LOCK_EX | LOCK_NB);
  FILE* const stream = fdopen(file, "w+b");
  if (stream == nullptr) {
    const int errnum = errno;
    close(file);
    unlink(path);
    errno = errnum;
  }
  return stream;
}

int processId() {
  return static_cast<int>(getpid());
}

std::string errorText(int errnum) {
  std::array<char, 256> buffer{};
  return chosenText(strerror_r(errnum, buffer.data(), buffer.size()), buffer.data());
}

FileKind kindOf(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode) || S_ISLNK(status.st_mode)) {
    return FileKind::RegularOrNone;
  }
  return S_ISDIR(status.st_mode) ? FileKind::Folder : FileKind::Other;
}

bool replaceFile(const std::string& from, const std::string& to) {
  return rename(from.c_str(), to.c_str()) == 0;
}

bool makePrivateDirectory(const std::string& path) {
  return mkdir(path.c_str(), S_IRWXU) == 0;
}

bool removeDirectory(const std::string& path) {
  return rmdir(path.c_str()) == 0;
}

bool removeFile(const std::string& path) {
  return unlink(path.c_str()) == 0;
}

void raiseOpenFileLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

bool PrivateFile::create(const std::string& path) {
  descriptor_ = createNewFile(path.c_str(), Access::TheUserAlone);
  return descriptor_ >= 0;
}

bool PrivateFile::extend(const std::string& path) {
  descriptor_ = open(path.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_CLOEXEC);
  return descriptor_ >= 0;
}

bool PrivateFile::seek(std::uint64_t offset) {
  return lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) >= 0;
}

bool PrivateFile::read(char* buffer, std::size_t size) {
  return transferAll(size, [&](std::size_t done, std::size_t left) {
    return ::read(descriptor_, buffer + done, left);
  });
}

bool PrivateFile::write(const char* bytes, std::size_t size) {
  return transferAll(size, [&](std::size_t done, std::size_t left) {
    return ::write(descriptor_, bytes + done, left);
  });
}

bool PrivateFile::close() {
  if (descriptor_ < 0) return true;
  // Not tried again when it fails: the descriptor is gone all the same.
  return ::close(std::exchange(descriptor_, -1)) == 0;
}

bool SharedFile::open(const std::string& path) {
  descriptor_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, kAsTheUserMasks);
  if (descriptor_ < 0) return false;
  int locked = flock(descriptor_, LOCK_EX);
  while (locked != 0 && errno == EINTR) locked = flock(descriptor_, LOCK_EX);
  lockError_ = locked == 0 ? 0 : errno;
  struct stat status {};
  if (fstat(descriptor_, &status) == 0) {
    length_ = status.st_size;
    return true;
  }
  const int cause = errno;
  close();
  errno = cause;
  return false;
}

long long SharedFile::read(char* buffer, std::size_t size) {
  const auto rest = static_cast<std::size_t>(length_ - position_);
  const ssize_t count = pread(descriptor_, buffer, std::min(size, rest), position_);
  if (count > 0) position_ += count;
  return count;
}

bool SharedFile::append(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor_, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      const int cause = errno;
      // A device has no length to set, nor anything to take back. What is behind the old end of a
      // file without a lock may be somebody else's.
      [[maybe_unused]] const int restored = lockError_ == 0 ? ftruncate(descriptor_, length_) : -1;
      errno = cause;
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool SharedFile::close() {
  if (descriptor_ < 0) return true;
  // Not tried again when it fails: the descriptor is gone all the same.
  return ::close(std::exchange(descriptor_, -1)) == 0;
}

}  // namespace pwr::platform
