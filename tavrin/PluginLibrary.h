#pragma once

#include <string>
#include <vector>

#include "writers/host/WriterPlugin.h"
#include "writers/host/WriterPluginList.h"

namespace tavrin {

/// The plugin library, loaded at run time, and the writers that it made. The writers live until the
/// library is destroyed.
class PluginLibrary {
 public:
  /// Loads `path`, or when it is empty the library beside the executable or in ../lib from there.
  /// Throws CommandError when that fails.
  explicit PluginLibrary(const std::string& path);
  ~PluginLibrary();
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;

  /// All writers in registry order.
  const std::vector<WriterPlugin*>& writers() const { return writers_; }

  /// The writers with the given names, in registry order; "all" stands for every one. Throws
  /// CommandError for an unknown name.
  std::vector<WriterPlugin*> select(const std::vector<std::string>& names) const;

  /// The one writer capability of a writer.
  static const pwr::WriterPluginCapability& capability(const WriterPlugin& writer);

 private:
  void* handle_ = nullptr;
  DestroyPluginsFunction destroy_ = nullptr;
  WriterPluginList* list_ = nullptr;
  std::vector<WriterPlugin*> writers_;
};

/// Checks that every one of `names` is "all" or among `known`; throws CommandError that lists the
/// known ones otherwise. `kind` names what they are ("writer").
void requireKnown(const std::vector<std::string>& names, const std::vector<std::string>& known,
                  const std::string& kind);

}  // namespace tavrin
