#include "hostcommon/session/PluginLibrary.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "hostcommon/Utf8Path.h"
#include "hostcommon/session/DynamicLibrary.h"
#include "hostcommon/session/HostError.h"

namespace pwr {

namespace {

/// The version that stands behind the mark in the file; "" when there is no mark.
std::string interfaceVersionOf(const std::string& path) {
  constexpr std::string_view kMark = PW_PLUGIN_MARK;
  constexpr std::size_t kLongestVersion = 16;
  const std::filesystem::path name = pathFromUtf8(path);
  std::error_code error;
  if (!std::filesystem::is_regular_file(name, error)) return {};  // a device may have no end
  std::ifstream file(name, std::ios::binary);
  std::array<char, 65536> block{};
  std::string bytes;
  for (bool isEnd = false; !isEnd;) {
    file.read(block.data(), block.size());
    isEnd = file.gcount() == 0;
    bytes.append(block.data(), static_cast<std::size_t>(file.gcount()));
    if (isEnd) bytes.append(kLongestVersion, ';');
    for (std::size_t mark = bytes.find(kMark); mark != std::string::npos;
         mark = bytes.find(kMark, mark + 1)) {
      if (mark + kMark.size() + kLongestVersion > bytes.size()) break;
      // The host's own file has the mark that it looks for, without a version.
      const std::string version = bytes.substr(mark + kMark.size(), kLongestVersion);
      if (version.front() >= '0' && version.front() <= '9') {
        return version.substr(0, version.find(';'));
      }
    }
    // What may be a mark that goes on in the next block.
    const std::size_t kept = std::min(bytes.size(), kMark.size() + kLongestVersion);
    bytes.erase(0, bytes.size() - kept);
  }
  return {};
}

}  // namespace

std::unique_ptr<PluginLibrary> PluginLibrary::load(const std::string& path) {
  const std::string version = interfaceVersionOf(path);
  if (!version.empty() && version != PW_HOST_INTERFACE_VERSION) {
    throw HostError(HostError::Cause::Failure,
                    "the plugin library " + path + " was made for version " + version +
                        " of the host interface, this is version " PW_HOST_INTERFACE_VERSION);
  }
  std::string error;
  void* const handle = openLibrary(path, error);
  if (handle == nullptr) {
    throw HostError(HostError::Cause::Failure,
                    "cannot load the plugin library " + path + ": " + error);
  }
  const auto create = reinterpret_cast<CreatePluginsFunction>(findSymbol(handle, "createPlugins"));
  const auto destroy =
      reinterpret_cast<DestroyPluginsFunction>(findSymbol(handle, "destroyPlugins"));
  if (create == nullptr || destroy == nullptr) {
    closeLibrary(handle);
    return nullptr;
  }
  if (version.empty()) {
    closeLibrary(handle);
    throw HostError(HostError::Cause::Failure,
                    "the plugin library " + path +
                        " does not tell for which version of the host "
                        "interface it was made; this is version " PW_HOST_INTERFACE_VERSION);
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

const WriterPluginCapability& PluginLibrary::capability(const WriterPlugin& writer) {
  return dynamic_cast<const WriterPluginCapability&>(*writer.getCapabilities().front());
}

const std::string& PluginLibrary::nameOf(const WriterPlugin& writer) {
  return capability(writer).getName();
}

}  // namespace pwr
