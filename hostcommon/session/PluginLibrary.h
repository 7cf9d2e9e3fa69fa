#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hostcommon/session/HostError.h"
#include "writers/host/WriterPlugin.h"
#include "writers/host/WriterPluginList.h"

namespace pwr {

/// A plugin library, loaded at run time, and the writers that it made. The writers live until the
/// library is destroyed.
class PW_HOST_API PluginLibrary {
 public:
  /// Loads the file. Null when it is a library of another kind, which does not export
  /// `createPlugins` and `destroyPlugins`. Throws HostError when it cannot be loaded, when one of
  /// its writers has no name, and when it was made for another version of the host interface:
  /// nothing of that one is called.
  static std::unique_ptr<PluginLibrary> load(const std::string& path);
  ~PluginLibrary();
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;

  /// As it was given to `load`.
  const std::string& path() const { return path_; }
  /// All writers in registry order.
  const std::vector<WriterPlugin*>& writers() const { return writers_; }

  /// The one writer capability of a writer.
  static const WriterPluginCapability& capability(const WriterPlugin& writer);
  /// By which users choose it.
  static const std::string& nameOf(const WriterPlugin& writer);

 private:
  PluginLibrary(std::string path, void* handle, CreatePluginsFunction create,
                DestroyPluginsFunction destroy);

  const std::string path_;
  void* const handle_;
  const DestroyPluginsFunction destroy_;
  WriterPluginList* const list_;
  std::vector<WriterPlugin*> writers_;
};

}  // namespace pwr
