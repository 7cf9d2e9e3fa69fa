#include "tavrin/import/RandomBytes.h"

#include <algorithm>
#include <cerrno>

#include "hostcommon/Platform.h"
#include "hostcommon/Utf8Path.h"
#include "readers/FormatError.h"
#include "tavrin/common/CommandError.h"

namespace tavrin {

FileBytes::FileBytes(const std::string& path) {
  file_.rdbuf()->pubsetbuf(nullptr, 0);  // or a few bytes would be read with thousands behind them
  file_.open(pwr::pathFromUtf8(path), std::ios::binary | std::ios::ate);
  const std::streamoff end = file_.tellg();
  if (!file_ || end < 0) {
    throw CommandError(kExitIncomplete,
                       "cannot open " + path + ": " + pwr::platform::errorText(errno));
  }
  size_ = static_cast<std::uint64_t>(end);
}

void FileBytes::read(std::uint64_t offset, std::span<std::byte> bytes) {
  file_.clear();
  file_.seekg(static_cast<std::streamoff>(offset));
  file_.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!file_) {
    throw FormatError(offset, std::to_string(bytes.size()) + " bytes", "that they cannot be read");
  }
}

void MemoryBytes::read(std::uint64_t offset, std::span<std::byte> bytes) {
  std::ranges::copy(std::span(bytes_).subspan(static_cast<std::size_t>(offset), bytes.size()),
                    bytes.begin());
}

}  // namespace tavrin
