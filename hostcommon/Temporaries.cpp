#include "hostcommon/Temporaries.h"

#include <filesystem>
#include <mutex>
#include <set>
#include <string>

#include "hostcommon/Utf8Path.h"
#include "writers/host/HostFunctions.h"

namespace pwr {

namespace {

/// The temporary files and folders that exist. Never destroyed: an abort may come during the exit.
struct Known {
  std::recursive_mutex mutex;  ///< memory may run out, which ends the run, while one is noted
  std::set<std::string> paths;

  static Known& instance() {
    static auto* const known = new Known;
    return *known;
  }
};

}  // namespace

void noteTemporary(const char* path) {
  Known& known = Known::instance();
  const std::lock_guard lock(known.mutex);
  known.paths.insert(path);
}

void forgetTemporary(const char* path) {
  Known& known = Known::instance();
  const std::lock_guard lock(known.mutex);
  known.paths.erase(path);
}

void removeTemporaries() {
  Known& known = Known::instance();
  known.mutex.lock();  // and never unlocked
  for (const std::string& path : known.paths) {
    std::error_code ignored;  // nothing is left to do about it
    std::filesystem::remove_all(pathFromUtf8(path), ignored);
  }
}

}  // namespace pwr
