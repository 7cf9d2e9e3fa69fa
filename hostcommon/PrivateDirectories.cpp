#include <filesystem>
#include <mutex>
#include <set>

#include "hostcommon/Platform.h"
#include "hostcommon/Utf8Path.h"

namespace pwr::platform {

namespace {

/// The private directories that exist. Never destroyed: an abort may come during the exit.
struct Known {
  std::mutex mutex;
  std::set<std::string> paths;

  static Known& instance() {
    static auto* const known = new Known;
    return *known;
  }
};

}  // namespace

std::string createPrivateDirectory(const std::string& parent) {
  Known& known = Known::instance();
  const std::lock_guard lock(known.mutex);
  std::string path = makePrivateDirectory(parent);
  if (!path.empty()) known.paths.insert(path);
  return path;
}

bool removePrivateDirectory(const std::string& path) {
  Known& known = Known::instance();
  const std::lock_guard lock(known.mutex);
  known.paths.erase(path);
  return removeDirectory(path);
}

void removeAllPrivateDirectories() {
  Known& known = Known::instance();
  const std::lock_guard lock(known.mutex);
  for (const std::string& path : known.paths) {
    std::error_code ignored;  // nothing is left to do about it
    std::filesystem::remove_all(pathFromUtf8(path), ignored);
  }
}

}  // namespace pwr::platform
