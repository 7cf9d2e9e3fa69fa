#include "exporters/sqlite/OpenFileVfs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace sqlite {

namespace {

/// SQLite makes the storage of these, and only `base` is its own.
struct OpenFile {
  sqlite3_file base;
  pwr::OutputFile* file;
  int descriptor;
};

OpenFile& openFileOf(sqlite3_file* file) {
  return *reinterpret_cast<OpenFile*>(file);
}

int noteFailureOf(const OpenFile& file, int errnum, int result) {
  file.file->noteFailure(errnum);
  return errnum == ENOSPC ? SQLITE_FULL : result;
}

// The file belongs to whoever opened it.
int closeFile(sqlite3_file* /*file*/) {
  return SQLITE_OK;
}

int readFile(sqlite3_file* base, void* buffer, int size, sqlite3_int64 offset) {
  auto* next = static_cast<char*>(buffer);
  while (size > 0) {
    const ssize_t count =
        pread(openFileOf(base).descriptor, next, static_cast<std::size_t>(size), offset);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return noteFailureOf(openFileOf(base), errno, SQLITE_IOERR_READ);
    if (count == 0) break;
    next += count;
    offset += count;
    size -= static_cast<int>(count);
  }
  std::fill_n(next, size, '\0');  // as SQLite wants what is behind the end
  return size == 0 ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
}

int writeFile(sqlite3_file* base, const void* bytes, int size, sqlite3_int64 offset) {
  const auto* next = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t count =
        pwrite(openFileOf(base).descriptor, next, static_cast<std::size_t>(size), offset);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      return noteFailureOf(openFileOf(base), count == 0 ? EIO : errno, SQLITE_IOERR_WRITE);
    }
    next += count;
    offset += count;
    size -= static_cast<int>(count);
  }
  return SQLITE_OK;
}

/// After a failure SQLite would take back what it has written. It stays: it is what there is.
int truncateFile(sqlite3_file* base, sqlite3_int64 size) {
  if (!openFileOf(base).file->isComplete()) return SQLITE_OK;
  if (ftruncate(openFileOf(base).descriptor, size) == 0) return SQLITE_OK;
  return noteFailureOf(openFileOf(base), errno, SQLITE_IOERR_TRUNCATE);
}

int sizeOfFile(sqlite3_file* base, sqlite3_int64* size) {
  struct stat status {};
  if (fstat(openFileOf(base).descriptor, &status) != 0) return SQLITE_IOERR_FSTAT;
  *size = status.st_size;
  return SQLITE_OK;
}

int leaveFileAlone(sqlite3_file* /*file*/, int /*how*/) {
  return SQLITE_OK;
}

int isFileReserved(sqlite3_file* /*file*/, int* isReserved) {
  *isReserved = 0;
  return SQLITE_OK;
}

int controlFile(sqlite3_file* /*file*/, int /*operation*/, void* /*argument*/) {
  return SQLITE_NOTFOUND;
}

int characteristicsOfFile(sqlite3_file* /*file*/) {
  return 0;
}

constexpr int kSectorSize = 4096;
int sectorSizeOfFile(sqlite3_file* /*file*/) {
  return kSectorSize;
}

constexpr sqlite3_io_methods kFileMethods{
    .iVersion = 1,
    .xClose = closeFile,
    .xRead = readFile,
    .xWrite = writeFile,
    .xTruncate = truncateFile,
    .xSync = leaveFileAlone,
    .xFileSize = sizeOfFile,
    .xLock = leaveFileAlone,
    .xUnlock = leaveFileAlone,
    .xCheckReservedLock = isFileReserved,
    .xFileControl = controlFile,
    .xSectorSize = sectorSizeOfFile,
    .xDeviceCharacteristics = characteristicsOfFile,
};

int openTheFile(sqlite3_vfs* vfs, const char* /*name*/, sqlite3_file* base, int flags,
                int* openedAs) {
  base->pMethods = nullptr;
  if ((flags & SQLITE_OPEN_MAIN_DB) == 0) return SQLITE_CANTOPEN;
  OpenFile& opened = openFileOf(base);
  opened.file = static_cast<pwr::OutputFile*>(vfs->pAppData);
  opened.descriptor = fileno(opened.file->stream());
  opened.base.pMethods = &kFileMethods;
  if (openedAs != nullptr) *openedAs = flags;
  return SQLITE_OK;
}

int deleteNothing(sqlite3_vfs* /*vfs*/, const char* /*name*/, int /*syncFolder*/) {
  return SQLITE_OK;
}

int findNothing(sqlite3_vfs* /*vfs*/, const char* /*name*/, int /*flags*/, int* isThere) {
  *isThere = 0;
  return SQLITE_OK;
}

int takeNameAsItIs(sqlite3_vfs* /*vfs*/, const char* name, int size, char* fullName) {
  std::strncpy(fullName, name, static_cast<std::size_t>(size));
  return SQLITE_OK;
}

constexpr const char* kName = "tavrin-open-file";

}  // namespace

OpenFileVfs::OpenFileVfs(pwr::OutputFile& file) {
  const sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);  // for time and random numbers
  if (system != nullptr) vfs_ = *system;
  vfs_.szOsFile = sizeof(OpenFile);
  vfs_.pNext = nullptr;
  vfs_.zName = kName;
  vfs_.pAppData = &file;
  vfs_.xOpen = openTheFile;
  vfs_.xDelete = deleteNothing;
  vfs_.xAccess = findNothing;
  vfs_.xFullPathname = takeNameAsItIs;
}

int OpenFileVfs::open(sqlite3** database) {
  // Known to SQLite only for this moment: the process may use it for purposes of its own, and this
  // library may be unloaded.
  sqlite3_vfs_register(&vfs_, 0);
  const int result =
      sqlite3_open_v2("database", database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, kName);
  sqlite3_vfs_unregister(&vfs_);
  return result;
}

}  // namespace sqlite
