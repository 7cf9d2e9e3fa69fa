#include "hostcommon/StagedFile.h"

#include <cerrno>
#include <filesystem>
#include <utility>

#include "hostcommon/Platform.h"
#include "hostcommon/Utf8Path.h"
#include "writers/host/HostFunctions.h"

namespace pwr {

bool StagedFile::open(const std::string& path) {
  path_ = path;
  const platform::FileKind kind = platform::kindOf(path);
  if (kind == platform::FileKind::Folder) {
    errno = EISDIR;
    return false;
  }
  isDirect_ = kind == platform::FileKind::Other;
  if (isDirect_) return openFileHandle(&stream_, path.c_str(), "wb");
  finalPath_ = absolutePath(path);
  privatePath_ = platform::folderOf(finalPath_) + platform::unguessableName();
  // Noted first: there is no moment in which an abort would miss it.
  noteTemporary(privatePath_.c_str());
  stream_ = platform::createExclusive(privatePath_.c_str(), platform::Access::AsTheUserMasks);
  if (stream_ == nullptr) forget_i();
  return stream_ != nullptr;
}

bool StagedFile::commit() {
  if (!close_i()) return false;
  if (isDirect_) return true;
  if (!platform::replaceFile(privatePath_, finalPath_)) return false;
  forget_i();
  return true;
}

bool StagedFile::keepIncomplete() {
  close_i();
  if (isDirect_) return true;
  std::error_code error;
  const bool hasBytes = std::filesystem::file_size(pathFromUtf8(privatePath_), error) > 0;
  if (!hasBytes || !platform::replaceFile(privatePath_, finalPath_ + kIncomplete)) {
    discard();
    return false;
  }
  forget_i();
  return true;
}

void StagedFile::discard() {
  close_i();
  if (privatePath_.empty()) return;
  platform::removeFile(privatePath_);
  forget_i();
}

/// False when something that was written did not reach the file.
bool StagedFile::close_i() {
  if (stream_ == nullptr) return true;
  const bool hasFailed = std::ferror(stream_) != 0;
  const bool isClosed = std::fclose(std::exchange(stream_, nullptr)) == 0;
  if (hasFailed && isClosed) errno = EIO;  // the cause is known to whoever wrote
  return isClosed && !hasFailed;
}

void StagedFile::forget_i() {
  const int cause = errno;
  forgetTemporary(privatePath_.c_str());
  privatePath_.clear();
  errno = cause;
}

}  // namespace pwr
