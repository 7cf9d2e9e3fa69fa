#include "hostcommon/session/PluginLibrary.h"

#include <algorithm>

#include "hostcommon/session/DynamicLibrary.h"
#include "hostcommon/session/HostError.h"
#include "hostcommon/session/LibraryFile.h"

namespace pwr {

namespace {

[[noreturn]] void refuseLibrary(const std::string& path, const std::string& why) {
  throw HostError(HostError::Cause::Failure, "the plugin library " + path + " " + why);
}

[[noreturn]] void failToLoad(const std::string& path, const std::string& cause) {
  throw HostError(HostError::Cause::Failure,
                  "cannot load the plugin library " + path + ": " + cause);
}

void requireThisVersion(const std::string& path, const std::string& version) {
  if (version == PW_HOST_INTERFACE_VERSION) return;
  const std::string which =
      version.empty() ? "does not tell for which version of the host interface it was made; "
                      : "was made for version " + version + " of the host interface, ";
  refuseLibrary(path, which + "this is version " PW_HOST_INTERFACE_VERSION);
}

bool hasName(const WriterPlugin* writer) {
  const auto& capabilities = writer->getCapabilities();
  return !capabilities.empty() &&
         dynamic_cast<const WriterPluginCapability*>(capabilities.front().get()) != nullptr;
}

}  // namespace

std::unique_ptr<PluginLibrary> PluginLibrary::load(const std::string& path) {
  LibraryFile file;
  std::string error;
  if (!readLibraryFile(path, file, error)) failToLoad(path, error);
  if (!file.namesExports) return nullptr;
  requireThisVersion(path, file.interfaceVersion);
  void* const handle = openLibrary(path, error);
  if (handle == nullptr) failToLoad(path, error);
  const auto create = reinterpret_cast<CreatePluginsFunction>(findSymbol(handle, "createPlugins"));
  const auto destroy =
      reinterpret_cast<DestroyPluginsFunction>(findSymbol(handle, "destroyPlugins"));
  if (create == nullptr || destroy == nullptr) {
    closeLibrary(handle);
    return nullptr;
  }
  std::unique_ptr<PluginLibrary> library(new PluginLibrary(path, handle, create, destroy));
  if (library->list_ == nullptr) refuseLibrary(path, "could not make its writers");
  if (!std::ranges::all_of(library->writers_, hasName)) {
    refuseLibrary(path, "has a writer without a name: it adds no WriterPluginCapability");
  }
  return library;
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

const WriterPluginCapability& PluginLibrary::capability(const WriterPlugin& writer) {
  return dynamic_cast<const WriterPluginCapability&>(*writer.getCapabilities().front());
}

const std::string& PluginLibrary::nameOf(const WriterPlugin& writer) {
  return capability(writer).getName();
}

}  // namespace pwr
