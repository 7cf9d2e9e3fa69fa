#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

/// The few things that the C runtimes of Linux and Windows do differently. Paths are UTF-8. Linked
/// into every library that uses it.
namespace pwr::platform {

/// As fopen; the stream is not inherited by child processes. Null with errno set on failure.
FILE* openFile(const char* path, const char* mode);

/// Who may open a file that is created here.
enum class Access {
  TheUserAlone,
  AsTheUserMasks,  ///< whoever the user lets open his files
};

/// Creates a binary file for reading and writing. Never opens, follows or empties anything that is
/// there already: null with errno EEXIST then.
FILE* createExclusive(const char* path, Access access = Access::TheUserAlone);

/// What there is under a name, which is not followed when it is a link.
enum class FileKind {
  RegularOrNone,  ///< a file, a link, or nothing
  Folder,
  Other,  ///< a console, a pipe, a device
};
FileKind kindOf(const std::string& path);

/// Gives a file another name in the same folder, in one step. What had that name is gone then.
/// False with errno set on failure.
bool replaceFile(const std::string& from, const std::string& to);

/// What separates folders in a path.
#if defined(_WIN32)
inline constexpr const char* kSeparators = "/\\";
#else
inline constexpr const char* kSeparators = "/";
#endif

/// The path up to its last separator, with it; "" for a name in the current directory.
std::string folderOf(const std::string& path);

/// A file name that nobody can have expected.
std::string unguessableName();

int processId();

/// The system's text for an errno value.
std::string errorText(int errnum);

/// Creates a directory with an unguessable name in `parent` ("" for the current directory) that
/// nobody else can read or enter. Returns its path, or "" with errno set. The host removes it, with
/// all it contains, when the run is aborted.
std::string createPrivateDirectory(const std::string& parent);

/// Removes a private directory, which must be empty. False with errno set on failure.
bool removePrivateDirectory(const std::string& path);

/// What createPrivateDirectory and removePrivateDirectory do on this system. False with errno set
/// on failure.
bool makePrivateDirectory(const std::string& path);
bool removeDirectory(const std::string& path);

/// Deletes a file. False with errno set on failure.
bool removeFile(const std::string& path);

/// Raises the number of files that may be open at once as far as the system allows.
void raiseOpenFileLimit();

/// A new file for temporary data, with one position for reading and writing. A plain descriptor: of
/// streams the C library keeps a list that it goes through whenever one of them is closed, which
/// thousands of temporary files would turn into minutes.
class PrivateFile {
 public:
  PrivateFile() = default;
  /// Closes the file, if `close` was not called.
  ~PrivateFile() { close(); }
  PrivateFile(const PrivateFile&) = delete;
  PrivateFile& operator=(const PrivateFile&) = delete;

  // What returns false does so with errno set.

  /// Creates a file that only the user can open and child processes do not inherit. Never opens,
  /// follows or empties anything that is there already: errno is EEXIST then. Call once.
  bool create(const std::string& path);
  /// Opens a file that is there already, to write behind its end. Call once, instead of `create`.
  bool extend(const std::string& path);
  /// Moves the position to `offset` bytes from the start.
  bool seek(std::uint64_t offset);
  /// Reads `size` bytes. A file that ends before is a failure, with errno EIO.
  bool read(char* buffer, std::size_t size);
  /// Writes `size` bytes, or some of them before it fails.
  bool write(const char* bytes, std::size_t size);
  bool close();

 private:
  int descriptor_ = -1;
};

/// A file that several processes extend. Whoever opens it in this way has it alone until it is
/// closed; others who do, in this process or another, wait. Child processes do not inherit it.
class SharedFile {
 public:
  SharedFile() = default;
  /// Closes the file, if `close` was not called.
  ~SharedFile() { close(); }
  SharedFile(const SharedFile&) = delete;
  SharedFile& operator=(const SharedFile&) = delete;

  /// Opens a file for reading and extending, creating it when it is absent, and waits for its turn.
  /// False with errno set on failure. Call once.
  bool open(const std::string& path);
  /// 0, or the errno value that tells why files cannot be locked there: then others may extend the
  /// file at the same time.
  int getLockError() const { return lockError_; }
  /// Reads what follows the piece read before, but nothing that is behind the end that the file had
  /// when it was opened. Returns the number of bytes, 0 at that end, or -1 with errno set.
  long long read(char* buffer, std::size_t size);
  /// Appends `text`, in one write unless the system divides it. If that fails, a locked file
  /// gets the length back that it had when it was opened, where the system can do so: false with
  /// errno set.
  bool append(std::string_view text);
  /// Closes the file; the next one in the queue gets it. False with errno set on failure.
  bool close();

 private:
  int descriptor_ = -1;
  long long length_ = 0;    // when it was opened
  long long position_ = 0;  // of the next read
  int lockError_ = 0;
};

}  // namespace pwr::platform
