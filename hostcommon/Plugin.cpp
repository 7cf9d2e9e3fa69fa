#include "writers/host/Plugin.h"

#include <cstdlib>
#include <new>

#include "hostcommon/Version.h"
#include "writers/host/WriterPlugin.h"

void* Plugin::operator new(std::size_t size) {
  for (;;) {
    if (void* const storage = std::calloc(1, size)) return storage;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

void Plugin::operator delete(void* storage) noexcept {
  std::free(storage);
}

Plugin::Plugin(std::string id) : id_(std::move(id)) {}
Plugin::~Plugin() = default;

void Plugin::getVersion(std::vector<std::pair<std::string, std::string>>& versions) {
  versions.emplace_back(id_, pwr::kVersion);
}

void Plugin::handleBroadcastOption(const std::string& /*option*/) {}

Plugin::ResetReturnCode Plugin::reset(ResetReason /*reason*/, unsigned long long /*timestamp*/,
                                      const pwr::SystemMetadata& /*metadata*/) {
  return ResetReturnCode::NotSupported;
}

Plugin::ResetReturnCode Plugin::pmtDevReset(unsigned int /*device*/,
                                            unsigned long long /*timestamp*/,
                                            const pwr::SystemMetadata& /*metadata*/) {
  return ResetReturnCode::NotSupported;
}

void Plugin::addCapability(pwr::PluginCapability* capability) {
  capabilities_.emplace_back(capability);
}

void Plugin::notifyCommandlineParamsSet_i() {}

namespace pwr {

PluginCapability::PluginCapability(std::string name, std::string description)
    : name_(std::move(name)), description_(std::move(description)) {}
PluginCapability::~PluginCapability() = default;

WriterPluginCapability::WriterPluginCapability(const std::set<TableClass>& tableClasses,
                                               const std::string& name,
                                               const std::string& description,
                                               const std::string& extension, bool flag,
                                               std::vector<std::string> files)
    : PluginCapability(name, description),
      tableClasses_(tableClasses),
      extension_(extension),
      flag_(flag),
      files_(std::move(files)) {
  if (files_.empty()) files_ = {"BASE" + extension};
}
WriterPluginCapability::~WriterPluginCapability() = default;

}  // namespace pwr
