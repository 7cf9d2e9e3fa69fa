#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

/// The entities of things that come and go, one for each name however often it comes back.
class NamedEntities {
 public:
  /// Keeps things whose names never come back from filling the memory.
  static constexpr std::size_t kMost = 16384;

  /// `level`: what the things are.
  explicit NamedEntities(std::string level) : level_(std::move(level)) {}

  /// Null for one too many.
  const pwr::EntityHandle* of(const std::string& name) {
    const auto known = entities_.find(name);
    if (known != entities_.end()) return known->second;
    if (entities_.size() == kMost) return nullptr;
    return entities_[name] = pwr::createEntity({.name = name, .level = level_});
  }

 private:
  const std::string level_;
  std::map<std::string, const pwr::EntityHandle*> entities_;
};

/// When to look for devices that come and go: each second, if any device of the machine has come,
/// gone or changed since. The kernel counts what it tells user space of them
/// (/sys/kernel/uevent_seqnum). To list all buses takes a millisecond, to read the count some
/// microseconds.
class DeviceLooks {
 public:
  /// To be called before the first look. Where the kernel below `root` does not count, it is always
  /// time to look.
  void follow(const SysRoot& root) {
    count_.emplace(root.path("/sys/kernel/uevent_seqnum"), OpenFile::Use::Rare);
    hasChanged();
  }

  /// Whether the time has come, at `now` ticks.
  bool isDue(unsigned long long now) {
    if (now < next_) return false;
    // A little less than a second: passes are not quite regular.
    next_ = now + kTicksPerSecond / 100 * 95;
    const bool isWanted = std::exchange(isWanted_, false);
    return hasChanged() || isWanted;
  }

  /// One is due the next time whatever the kernel tells.
  void want() { isWanted_ = true; }

 private:
  bool hasChanged() {
    unsigned long long count = 0;
    if (count_->readNumber(count) != 0) return true;
    return std::exchange(lastCount_, count) != count;
  }

  std::optional<OpenFile> count_;  // of what the kernel has told of devices
  unsigned long long lastCount_ = 0;
  bool isWanted_ = false;
  unsigned long long next_ = 0;  // time of the next look
};

/// Devices that come and go, with what is needed to read them.
template <typename Device>
class DeviceSet {
 public:
  /// See `DeviceLooks`. When a look is due, `meet` is to be called.
  void follow(const SysRoot& root) { looks_.follow(root); }
  bool isDue(unsigned long long now) { return looks_.isDue(now); }
  void wantLook() { looks_.want(); }

  /// `keys` tell the devices that are there. Forgets all others, and opens new ones:
  /// `open(key)` returns an optional device, empty for one that supports nothing. That one is left
  /// alone as long as it is there.
  template <typename Open>
  void meet(const std::vector<std::string>& keys, const Open& open) {
    std::map<std::string, Device> devices;
    std::set<std::string> unsupporting;
    for (const std::string& key : keys) {
      auto known = devices_.extract(key);
      std::optional<Device> opened;
      if (!known && !unsupporting_.contains(key)) opened = open(key);
      if (known) {
        devices.insert(std::move(known));
      } else if (opened) {
        devices.emplace(key, std::move(*opened));
      } else {
        unsupporting.insert(key);
      }
    }
    devices_.swap(devices);
    unsupporting_.swap(unsupporting);
  }

  /// Calls `use(device)` for each. Those of which it returns false are closed, and opened anew when
  /// they are met next.
  template <typename Use>
  void forEach(const Use& use) {
    for (auto place = devices_.begin(); place != devices_.end();) {
      const bool isGone = !use(place->second);
      if (isGone) looks_.want();
      place = isGone ? devices_.erase(place) : std::next(place);
    }
  }

 private:
  std::map<std::string, Device> devices_;
  std::set<std::string> unsupporting_;  // apart: there are hundreds, and passes do not care
  DeviceLooks looks_;
};

}  // namespace tavrin
