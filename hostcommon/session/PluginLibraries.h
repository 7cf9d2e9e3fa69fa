#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "hostcommon/session/PluginLibrary.h"

namespace pwr {

/// Where plugin libraries are found by their names: the folders of the executable and of this host
/// library, and the folder "tavrin" beside the host library, where an installation has them.
PW_HOST_API std::vector<std::filesystem::path> pluginFolders();

/// All plugin libraries of a run, and their writers, no two of which have one name. They are those
/// that the user names, and those files of `folders` whose names begin and end as kPluginStart and
/// kPluginEnd say. Of files of one name, one that the user names counts, else the first one.
class PW_HOST_API PluginLibraries {
 public:
  /// Throws HostError when one of `named` or the library of the tool's own formats cannot be
  /// loaded, and for two writers of one name. Another library that cannot be loaded is left out
  /// with a warning, one of another kind without.
  explicit PluginLibraries(const std::vector<std::string>& named = {},
                           const std::vector<std::filesystem::path>& folders = pluginFolders());
  PluginLibraries(const PluginLibraries&) = delete;
  PluginLibraries& operator=(const PluginLibraries&) = delete;

  /// The library of the tool's own formats first, then those that were named, then the others in
  /// the order of their names.
  const std::vector<std::unique_ptr<PluginLibrary>>& libraries() const { return libraries_; }
  /// All writers, in the order of the libraries and their registries.
  std::vector<WriterPlugin*> writers() const;

  /// The writers with the given names, in the order of `writers`; "all" stands for those of the
  /// first library, "every" for every one. Throws HostError for an unknown name.
  std::vector<WriterPlugin*> select(const std::vector<std::string>& names) const;

 private:
  void refuseTwins() const;

  std::vector<std::unique_ptr<PluginLibrary>> libraries_;
};

}  // namespace pwr
