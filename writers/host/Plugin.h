#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "writers/host/HostApi.h"
#include "writers/host/PluginCapability.h"

namespace pwr {
class SystemMetadata;
}

/// Root of every plugin. Created with `new` into storage that is zero-filled before the constructor
/// runs, destroyed through its virtual destructor by the library that created it.
class PW_HOST_API Plugin {
 public:
  enum class ResetReason : int { CollectionStart = 0, SystemResume = 1, DeviceChange = 2 };
  enum class ResetReturnCode : int { Done = 0, Failed = 1, NotSupported = 2 };

  static void* operator new(std::size_t size);
  static void operator delete(void* storage) noexcept;

  virtual ~Plugin();
  /// Appends (name, version) pairs. The base appends the plugin's id and the host library's
  /// version.
  virtual void getVersion(std::vector<std::pair<std::string, std::string>>& versions);
  /// Offers an option of the writers, as "--name=value"; all are offered each that was given. The
  /// base ignores it.
  virtual void handleBroadcastOption(const std::string& option);
  /// Tells that measuring starts anew at `timestamp` (ticks). The base returns NotSupported.
  virtual ResetReturnCode reset(ResetReason reason, unsigned long long timestamp,
                                const pwr::SystemMetadata& metadata);
  /// The same for one telemetry device.
  virtual ResetReturnCode pmtDevReset(unsigned int device, unsigned long long timestamp,
                                      const pwr::SystemMetadata& metadata);
  /// Takes ownership of `capability`.
  virtual void addCapability(pwr::PluginCapability* capability);

  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  const std::string& getPluginId() const { return id_; }
  const std::vector<std::unique_ptr<pwr::PluginCapability>>& getCapabilities() const {
    return capabilities_;
  }

 protected:
  explicit Plugin(std::string id);
  /// Called once, after all options were offered and before anything is opened.
  virtual void notifyCommandlineParamsSet_i();

 private:
  friend class WriterDispatch;

  std::string id_;
  std::vector<std::unique_ptr<pwr::PluginCapability>> capabilities_;
};
