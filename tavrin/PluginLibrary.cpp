#include "tavrin/PluginLibrary.h"

#include "tavrin/common/CommandError.h"
#include "tavrin/platform/DynamicLibrary.h"

namespace tavrin {

std::unique_ptr<PluginLibrary> PluginLibrary::load(const std::string& path) {
  std::string error;
  void* const handle = openLibrary(path, error);
  if (handle == nullptr) {
    throw CommandError(kExitIncomplete, "cannot load the plugin library " + path + ": " + error);
  }
  const auto create = reinterpret_cast<CreatePluginsFunction>(findSymbol(handle, "createPlugins"));
  const auto destroy =
      reinterpret_cast<DestroyPluginsFunction>(findSymbol(handle, "destroyPlugins"));
  if (create == nullptr || destroy == nullptr) {
    closeLibrary(handle);
    return nullptr;
  }
  return std::unique_ptr<PluginLibrary>(new PluginLibrary(path, handle, create, destroy));
}

PluginLibrary::PluginLibrary(std::string path, void* handle, CreatePluginsFunction create,
                             DestroyPluginsFunction destroy)
    : path_(std::move(path)), handle_(handle), destroy_(destroy), list_(create()) {
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

const std::string& PluginLibrary::nameOf(const WriterPlugin& writer) {
  return capability(writer).getName();
}

}  // namespace tavrin
