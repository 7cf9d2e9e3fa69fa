#include "hostcommon/session/LibraryFile.h"

#if !defined(_WIN32)
#include <link.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

#include "hostcommon/Utf8Path.h"
#include "writers/host/WriterPluginList.h"

namespace pwr {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kMark = PW_PLUGIN_MARK;
constexpr std::size_t kLongestVersion = 16;

/// What `text` begins with, if that is a version and its semicolon. (The host's own file has the
/// mark that it looks for, without a version.)
std::string versionAt(std::string_view text) {
  const std::size_t end = text.substr(0, kLongestVersion).find(';');
  if (end == std::string_view::npos) return {};
  const std::string_view version = text.substr(0, end);
  const bool isVersion = version.find_first_not_of("0123456789.") == std::string_view::npos;
  return isVersion ? std::string(version) : std::string();
}

void search(std::string_view bytes, LibraryFile& found) {
  if (bytes.find("createPlugins") != std::string_view::npos) found.namesExports = true;
  for (std::size_t mark = bytes.find(kMark);
       mark != std::string_view::npos && found.interfaceVersion.empty();
       mark = bytes.find(kMark, mark + 1)) {
    found.interfaceVersion = versionAt(bytes.substr(mark + kMark.size()));
  }
}

/// Searches the first `size` bytes of the file, block by block.
void searchFile(std::ifstream& file, std::uintmax_t size, LibraryFile& found) {
  std::vector<char> block(std::size_t{1} << 20);
  std::size_t kept = 0;  // bytes at the start of the block in which a mark may have begun
  file.clear();
  file.seekg(0);
  while (size > 0) {
    const std::size_t most = std::min<std::uintmax_t>(block.size() - kept, size);
    if (!file.read(block.data() + kept, static_cast<std::streamsize>(most))) return;
    size -= most;
    const std::string_view bytes(block.data(), kept + most);
    search(bytes, found);
    kept = std::min(bytes.size(), kMark.size() + kLongestVersion);
    std::memmove(block.data(), bytes.data() + bytes.size() - kept, kept);
  }
}

#if defined(_WIN32)

constexpr std::string_view kMagic = "MZ";

/// The system's loader checks that itself.
bool findLoaded(std::ifstream& /*file*/, std::uintmax_t& /*size*/) {
  return true;
}

#else

constexpr std::string_view kMagic =
    "\x7f"
    "ELF";

/// Makes of `size`, that of the file, the end of what is mapped when the library is loaded. False
/// when the file ends before. A library for another kind of machine is left to the loader.
bool findLoaded(std::ifstream& file, std::uintmax_t& size) {
  constexpr unsigned char kClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
  ElfW(Ehdr) header{};
  file.seekg(0);
  if (!file.read(reinterpret_cast<char*>(&header), sizeof header)) return false;
  if (header.e_ident[EI_CLASS] != kClass) return true;
  std::uintmax_t end = sizeof header;
  for (unsigned int n = 0; n < header.e_phnum; ++n) {
    ElfW(Phdr) part{};
    file.seekg(static_cast<std::streamoff>(header.e_phoff + n * sizeof part));
    if (!file.read(reinterpret_cast<char*>(&part), sizeof part)) return false;
    if (part.p_type != PT_LOAD) continue;
    if (part.p_offset > size || part.p_filesz > size - part.p_offset) return false;
    end = std::max<std::uintmax_t>(end, part.p_offset + part.p_filesz);
  }
  size = end;
  return true;
}

#endif

/// Why the path leads to no regular file; "" if it does.
std::string notRegular(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_regular_file(status)) return {};
  if (error) return error.message();
  return fs::is_directory(status) ? "it is a folder" : "it is no regular file";
}

}  // namespace

bool readLibraryFile(const std::string& path, LibraryFile& found, std::string& error) {
  const fs::path name = pathFromUtf8(path);
  error = notRegular(name);
  if (!error.empty()) return false;
  errno = 0;
  std::ifstream file(name, std::ios::binary);
  std::array<char, kMagic.size()> magic{};
  if (!file.is_open()) {
    error = std::generic_category().message(errno);
  } else if (!file.read(magic.data(), magic.size()) ||
             std::string_view(magic.data(), magic.size()) != kMagic) {
    error = "it is no shared library";
  } else {
    std::error_code unknown;
    std::uintmax_t size = fs::file_size(name, unknown);
    if (unknown || !findLoaded(file, size)) error = "it is cut short";
    if (error.empty()) searchFile(file, size, found);
  }
  return error.empty();
}

}  // namespace pwr
