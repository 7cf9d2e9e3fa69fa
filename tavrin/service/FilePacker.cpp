#include "tavrin/service/FilePacker.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "hostcommon/Platform.h"
#include "hostcommon/StagedFile.h"

namespace tavrin {

namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

bool write(const std::string& bytes, FILE* to) {
  return std::fwrite(bytes.data(), 1, bytes.size(), to) == bytes.size();
}

/// False, with errno set, when anything fails.
bool pack(FILE* from, FILE* to, Packer& packer) {
  std::array<char, 65536> piece{};
  std::string packed;
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), from)) {
    packed.clear();
    errno = ENOMEM;
    if (packer.pack({piece.data(), size}, packed) != 0 || !write(packed, to)) return false;
  }
  packed.clear();
  if (std::ferror(from) != 0 || packer.endFrame(packed) != 0 || !write(packed, to)) return false;
  return std::fflush(to) == 0;
}

/// What comes back after a crash of the machine is the whole file.
bool reachesDisk(FILE* file, const struct stat& original) {
  const timespec times[] = {original.st_atim, original.st_mtim};
  return futimens(fileno(file), times) == 0 && fsync(fileno(file)) == 0;
}

/// Best effort: without it the original may come back beside the packed file.
void syncFolderOf(const std::string& path) {
  const std::string folder = pwr::platform::folderOf(path);
  const int file = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (file < 0) return;
  fsync(file);
  close(file);
}

}  // namespace

bool packFile(const std::string& path, Packing packing, std::string& error) {
  const auto refuse = [&](const std::string& what) {
    error = "cannot " + what + " " + path + ": " + pwr::platform::errorText(errno);
    return false;
  };
  const File original(pwr::platform::openFile(path.c_str(), "rb"), std::fclose);
  struct stat status {};
  if (original == nullptr || fstat(fileno(original.get()), &status) != 0) return refuse("read");
  const std::unique_ptr<Packer> packer = createPacker(packing);
  pwr::StagedFile packed;
  if (!packed.open(path + packedEnding(packing)) ||
      !pack(original.get(), packed.stream(), *packer) || !reachesDisk(packed.stream(), status) ||
      !packed.commit()) {
    return refuse("pack");
  }
  syncFolderOf(path);
  return unlink(path.c_str()) == 0 || refuse("remove");
}

}  // namespace tavrin
