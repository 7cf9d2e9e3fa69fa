#include "tavrin/PluginLibrary.h"

#include <algorithm>
#include <filesystem>

#include "hostcommon/Utf8Path.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/platform/DynamicLibrary.h"

namespace tavrin {

namespace {

/// Where the library is looked for when the user names none.
std::string findLibrary() {
  const std::filesystem::path folder = executableFolder();
  for (const auto& candidate :
       {folder / kPluginLibraryName, folder / ".." / "lib" / kPluginLibraryName}) {
    if (std::filesystem::exists(candidate)) return pwr::utf8FromPath(candidate);
  }
  throw CommandError(kExitIncomplete, "cannot find the plugin library " +
                                          std::string(kPluginLibraryName) + " in " +
                                          pwr::utf8FromPath(folder) + " (use --plugin PATH)");
}

}  // namespace

PluginLibrary::PluginLibrary(const std::string& path) {
  const std::string file = path.empty() ? findLibrary() : path;
  std::string error;
  handle_ = openLibrary(file, error);
  if (handle_ == nullptr) {
    throw CommandError(kExitIncomplete, "cannot load the plugin library " + file + ": " + error);
  }
  const auto create = reinterpret_cast<CreatePluginsFunction>(findSymbol(handle_, "createPlugins"));
  destroy_ = reinterpret_cast<DestroyPluginsFunction>(findSymbol(handle_, "destroyPlugins"));
  if (create == nullptr || destroy_ == nullptr) {
    closeLibrary(handle_);
    throw CommandError(kExitIncomplete, file + " is not a plugin library: it does not export " +
                                            "createPlugins and destroyPlugins");
  }
  list_ = create();
  for (int i = 0; list_ != nullptr && i < list_->count; ++i) {
    if (auto* writer = dynamic_cast<WriterPlugin*>(list_->plugins[i])) writers_.push_back(writer);
  }
}

PluginLibrary::~PluginLibrary() {
  destroy_(list_);
  closeLibrary(handle_);
}

const pwr::WriterPluginCapability& PluginLibrary::capability(const WriterPlugin& writer) {
  return dynamic_cast<const pwr::WriterPluginCapability&>(*writer.getCapabilities().front());
}

std::vector<WriterPlugin*> PluginLibrary::select(const std::vector<std::string>& names) const {
  std::vector<std::string> known;
  for (const WriterPlugin* writer : writers_) known.push_back(capability(*writer).getName());
  requireKnown(names, known, "writer");
  std::vector<WriterPlugin*> selected;
  for (WriterPlugin* writer : writers_) {
    if (std::ranges::count(names, "all") > 0 ||
        std::ranges::count(names, capability(*writer).getName()) > 0) {
      selected.push_back(writer);
    }
  }
  return selected;
}

void requireKnown(const std::vector<std::string>& names, const std::vector<std::string>& known,
                  const std::string& kind) {
  for (const std::string& name : names) {
    if (name == "all" || std::ranges::count(known, name) > 0) continue;
    std::string text = "unknown ";
    text.append(kind).append(" '").append(name).append("'; known are: ");
    for (const std::string& one : known) text.append(one).append(", ");
    throw CommandError(kExitUsage, text.append("all"));
  }
}

}  // namespace tavrin
