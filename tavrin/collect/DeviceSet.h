#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Interval.h"

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

/// Devices that come and go, with what is needed to read them. The kernel does not tell in a cheap
/// way which are there, so they are looked for every second.
template <typename Device>
class DeviceSet {
 public:
  /// Whether the time has come, at `now` ticks, to look for devices: for `meet` to be called.
  bool isDue(unsigned long long now) {
    if (now < next_) return false;
    // A little less than a second: passes are not quite regular.
    next_ = now + kTicksPerSecond / 100 * 95;
    return true;
  }

  /// `keys` tell the devices that are there. Forgets all others, and opens new ones:
  /// `open(key)` returns an optional device, empty for one that supports nothing. That one is left
  /// alone as long as it is there.
  template <typename Open>
  void meet(const std::vector<std::string>& keys, const Open& open) {
    std::map<std::string, std::optional<Device>> present;
    for (const std::string& key : keys) {
      auto known = devices_.extract(key);
      if (known.empty()) {
        present.emplace(key, open(key));
      } else {
        present.insert(std::move(known));
      }
    }
    devices_.swap(present);
  }

  /// Calls `use(device)` for each. Those of which it returns false are closed, and opened anew when
  /// they are met next.
  template <typename Use>
  void forEach(const Use& use) {
    for (auto place = devices_.begin(); place != devices_.end();) {
      const bool isGone = place->second && !use(*place->second);
      place = isGone ? devices_.erase(place) : std::next(place);
    }
  }

 private:
  std::map<std::string, std::optional<Device>> devices_;
  unsigned long long next_ = 0;  // time of the next look
};

}  // namespace tavrin
