#pragma once

#include <string>

namespace pwr {

/// What the file of a library tells before the library is loaded, which already runs code of it.
struct LibraryFile {
  bool namesExports = false;     ///< the name `createPlugins` is in it
  std::string interfaceVersion;  ///< of the host interface, behind the mark; "" without a mark
};

/// Reads the file at `path` (UTF-8). False with `error` set for what must not be handed to the
/// system's loader: no regular file (a pipe would block it), no library, or one that was cut short
/// (touching what is missing would end the process).
bool readLibraryFile(const std::string& path, LibraryFile& found, std::string& error);

}  // namespace pwr
