#include "tavrin/Capture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tavrin/common/CommandError.h"

namespace tavrin {

namespace {

/// Half of what is promised: a pass of the run's loop may take its time.
constexpr std::chrono::milliseconds kFlushPeriod{500};

[[noreturn]] void cannotWrite(const std::string& path, const char* cause) {
  throw CommandError(kExitIncomplete, "cannot write the capture " + path + ": " + cause);
}

/// Opens a file that is there by its own name, a device or a pipe also through a link.
int openForWriting(const std::string& path) {
  constexpr mode_t kAsTheUserMasks = 0666;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kAsTheUserMasks);
  if (file >= 0 || errno != ELOOP) return file;
  struct stat target {};
  if (stat(path.c_str(), &target) == 0 && S_ISREG(target.st_mode)) {
    cannotWrite(path, "it is a link to a file; name the file itself");
  }
  return open(path.c_str(), O_WRONLY | O_CLOEXEC);
}

FILE* openEmptied(const std::string& path) {
  const int file = openForWriting(path);
  struct stat status {};
  if (file < 0 || fstat(file, &status) != 0) cannotWrite(path, std::strerror(errno));
  if (S_ISREG(status.st_mode) && ftruncate(file, 0) != 0) cannotWrite(path, std::strerror(errno));
  return fdopen(file, "wb");
}

std::unique_ptr<Packer> packerFor(const std::string& path) {
  const auto packing = packingOfName(path);
  if (!packing) return nullptr;
  const std::string reason = whyNotPacked(*packing);
  if (!reason.empty()) cannotWrite(path, reason.c_str());
  return createPacker(*packing);
}

}  // namespace

Capture::Capture(const std::string& path)
    : packer_(packerFor(path)),
      file_(path == "-" ? File(stdout, std::fflush) : File(openEmptied(path), std::fclose)),
      unpacked_(packer_ == nullptr ? nullptr : fopencookie(this, "wb", {.write = pack}),
                std::fclose),
      writer_(packer_ == nullptr ? file_.get() : unpacked_.get()) {}

/// Takes what is to be packed.
ssize_t Capture::pack(void* capture, const char* bytes, size_t size) {
  auto& self = *static_cast<Capture*>(capture);
  if (self.packer_->pack({bytes, size}, self.packed_) != 0 || !self.writePacked()) return 0;
  return static_cast<ssize_t>(size);
}

bool Capture::writePacked() {
  const bool isWritten =
      std::fwrite(packed_.data(), 1, packed_.size(), file_.get()) == packed_.size();
  packed_.clear();
  return isWritten;
}

bool Capture::handOver() {
  if (packer_ != nullptr) {
    const bool isPacked = std::fflush(unpacked_.get()) == 0 && packer_->endFrame(packed_) == 0;
    if (!writePacked() || !isPacked) return false;
  }
  return std::fflush(file_.get()) == 0;
}

void Capture::keepUp(Clock::time_point now) {
  if (now < nextFlush_) return;
  nextFlush_ = now + kFlushPeriod;
  failed_ = !handOver() || failed_;
}

bool Capture::finish(const pwr::SystemMetadata& metadata) {
  writer_.stop(metadata);
  const bool written = writer_.close() == 0 && handOver();
  const bool closed = file_.get_deleter()(file_.release()) == 0;
  return written && closed && !failed_;
}

}  // namespace tavrin
