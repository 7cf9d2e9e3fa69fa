// clang-format off: the other headers of the system need this one
#include <windows.h>
// clang-format on
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sddl.h>
#include <share.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "hostcommon/Platform.h"

namespace pwr::platform {

namespace {

/// Faulty UTF-8 becomes replacement characters.
std::wstring wide(std::string_view text) {
  const auto size = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  std::wstring result(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), length);
  return result;
}

/// The errno value that stands for the last error of a system call.
int lastErrno() {
  const std::error_code error(static_cast<int>(GetLastError()), std::system_category());
  const std::error_condition condition = error.default_error_condition();
  return condition.category() == std::generic_category() ? condition.value() : EIO;
}

/// The security identifier of the user of this process, as text; "" when the system cannot tell it.
std::wstring currentUser() {
  alignas(TOKEN_USER) std::array<char, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> buffer{};
  DWORD size = buffer.size();
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) return {};
  const bool known = GetTokenInformation(token, TokenUser, buffer.data(), size, &size) != 0;
  CloseHandle(token);
  wchar_t* text = nullptr;
  if (!known ||
      ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid, &text) == 0) {
    return {};
  }
  std::wstring user = text;
  LocalFree(text);
  return user;
}

/// Full access for the user, also to what a directory will contain, and nothing for others: nothing
/// is inherited from the folder above.
class UserOnlyAccess {
 public:
  UserOnlyAccess() {
    const std::wstring rights = L"D:P(A;OICI;FA;;;" + currentUser() + L")";
    ConvertStringSecurityDescriptorToSecurityDescriptorW(
        rights.c_str(), SDDL_REVISION_1, &attributes_.lpSecurityDescriptor, nullptr);
  }
  ~UserOnlyAccess() { LocalFree(attributes_.lpSecurityDescriptor); }
  UserOnlyAccess(const UserOnlyAccess&) = delete;
  UserOnlyAccess& operator=(const UserOnlyAccess&) = delete;

  /// False, with the last error set right after the construction, when the system refuses it.
  bool isValid() const { return attributes_.lpSecurityDescriptor != nullptr; }
  SECURITY_ATTRIBUTES* get() { return &attributes_; }

 private:
  SECURITY_ATTRIBUTES attributes_{.nLength = sizeof attributes_};
};

/// The descriptor of a new file, or -1 with errno set. Nobody else can open the file while it is
/// open here.
int createNewFile(const char* path, Access access) {
  const auto create = [&](SECURITY_ATTRIBUTES* security, DWORD attributes) {
    return CreateFileW(wide(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, security, CREATE_NEW,
                       attributes, nullptr);
  };
  HANDLE handle = INVALID_HANDLE_VALUE;
  if (access == Access::AsTheUserMasks) {
    handle = create(nullptr, FILE_ATTRIBUTE_NORMAL);
  } else if (UserOnlyAccess user; user.isValid()) {
    handle = create(user.get(), FILE_ATTRIBUTE_TEMPORARY);
  }
  if (handle == INVALID_HANDLE_VALUE) {
    errno = lastErrno();
    return -1;
  }
  errno = EMFILE;
  const int file =
      _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_RDWR | _O_BINARY | _O_NOINHERIT);
  if (file < 0) {
    const int cause = errno;
    CloseHandle(handle);
    _wunlink(wide(path).c_str());
    errno = cause;
  }
  return file;
}

/// Calls `transfer` with what is left of `size` bytes, in pieces that it can tell the size of,
/// until nothing is. False with errno set when it fails or moves nothing.
template <typename Transfer>
bool transferAll(std::size_t size, const Transfer& transfer) {
  constexpr std::size_t kMostAtOnce = std::size_t{1} << 30U;
  std::size_t done = 0;
  while (done < size) {
    const int count = transfer(done, static_cast<unsigned int>(std::min(size - done, kMostAtOnce)));
    if (count == 0) errno = EIO;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

// Not every C runtime tells the cause when there are as many streams as it allows.
FILE* openFile(const char* path, const char* mode) {
  errno = EMFILE;
  return _wfopen(wide(path).c_str(), (wide(mode) + L"N").c_str());
}

FILE* createExclusive(const char* path, Access access) {
  const int file = createNewFile(path, access);
  if (file < 0) return nullptr;
  errno = EMFILE;
  FILE* const stream = _fdopen(file, "w+b");
  if (stream == nullptr) {
    const int cause = errno;
    _close(file);
    _wunlink(wide(path).c_str());
    errno = cause;
  }
  return stream;
}

int processId() {
  return _getpid();
}

std::string errorText(int errnum) {
  std::array<char, 256> buffer{};
  strerror_s(buffer.data(), buffer.size(), errnum);
  return buffer.data();
}

FileKind kindOf(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(wide(path).c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return FileKind::Folder;
  }
  auto* const handle =
      CreateFileW(wide(path).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return FileKind::RegularOrNone;
  const DWORD type = GetFileType(handle);
  CloseHandle(handle);
  return type == FILE_TYPE_DISK ? FileKind::RegularOrNone : FileKind::Other;
}

bool replaceFile(const std::string& from, const std::string& to) {
  if (MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0) {
    return true;
  }
  errno = lastErrno();
  return false;
}

bool makePrivateDirectory(const std::string& path) {
  UserOnlyAccess access;
  if (access.isValid() && CreateDirectoryW(wide(path).c_str(), access.get()) != 0) return true;
  errno = lastErrno();
  return false;
}

bool removeDirectory(const std::string& path) {
  return _wrmdir(wide(path).c_str()) == 0;
}

bool removeFile(const std::string& path) {
  return _wunlink(wide(path).c_str()) == 0;
}

void raiseOpenFileLimit() {
  // The limits of the new and of the old C runtime, which refuses a greater number.
  for (const int most : {8192, 2048}) {
    if (_setmaxstdio(most) == most) return;
  }
}

bool PrivateFile::create(const std::string& path) {
  descriptor_ = createNewFile(path.c_str(), Access::TheUserAlone);
  return descriptor_ >= 0;
}

bool PrivateFile::extend(const std::string& path) {
  return _wsopen_s(&descriptor_, wide(path).c_str(),
                   _O_WRONLY | _O_APPEND | _O_BINARY | _O_NOINHERIT, _SH_DENYRW, 0) == 0;
}

bool PrivateFile::seek(std::uint64_t offset) {
  return _lseeki64(descriptor_, static_cast<long long>(offset), SEEK_SET) >= 0;
}

bool PrivateFile::read(char* buffer, std::size_t size) {
  return transferAll(size, [&](std::size_t done, unsigned int left) {
    return _read(descriptor_, buffer + done, left);
  });
}

bool PrivateFile::write(const char* bytes, std::size_t size) {
  return transferAll(size, [&](std::size_t done, unsigned int left) {
    return _write(descriptor_, bytes + done, left);
  });
}

bool PrivateFile::close() {
  if (descriptor_ < 0) return true;
  return _close(std::exchange(descriptor_, -1)) == 0;
}

bool SharedFile::open(const std::string& path) {
  if (_wsopen_s(&descriptor_, wide(path).c_str(), _O_RDWR | _O_CREAT | _O_BINARY | _O_NOINHERIT,
                _SH_DENYNO, _S_IREAD | _S_IWRITE) != 0) {
    return false;
  }
  // Locked is one byte far behind the contents, which everybody may go on reading.
  auto* const handle = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor_));
  OVERLAPPED place{};
  place.OffsetHigh = 0x7FFFFFFF;
  if (LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place) == 0) lockError_ = lastErrno();
  length_ = _filelengthi64(descriptor_);
  if (length_ >= 0) return true;
  const int cause = errno;
  close();
  errno = cause;
  return false;
}

long long SharedFile::read(char* buffer, std::size_t size) {
  constexpr long long kMostAtOnce = 1LL << 30;
  const auto rest = std::min(length_ - position_, kMostAtOnce);
  if (_lseeki64(descriptor_, position_, SEEK_SET) < 0) return -1;
  const int count =
      _read(descriptor_, buffer,
            static_cast<unsigned int>(std::min(size, static_cast<std::size_t>(rest))));
  if (count > 0) position_ += count;
  return count;
}

bool SharedFile::append(std::string_view text) {
  const auto size = static_cast<unsigned int>(text.size());
  if (_lseeki64(descriptor_, 0, SEEK_END) < 0) return false;
  errno = ENOSPC;  // what a short count means, which sets no cause
  if (_write(descriptor_, text.data(), size) == static_cast<int>(size)) return true;
  const int cause = errno;
  // What is behind the old end of a file without a lock may be somebody else's.
  if (lockError_ == 0) _chsize_s(descriptor_, length_);
  errno = cause;
  return false;
}

bool SharedFile::close() {
  if (descriptor_ < 0) return true;
  return _close(std::exchange(descriptor_, -1)) == 0;
}

}  // namespace pwr::platform
