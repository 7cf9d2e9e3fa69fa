#pragma once

#include <cstddef>
#include <functional>

#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"

namespace pwr {

/// What tells a series from the others of its metric. Either may be null.
struct SeriesKey {
  const EntityHandle* entity = nullptr;
  const DataDescriptor* descriptor = nullptr;
  bool operator==(const SeriesKey&) const = default;
};

struct SeriesKeyHash {
  std::size_t operator()(const SeriesKey& key) const {
    const std::hash<const void*> hash;
    return hash(key.entity) * 31 + hash(key.descriptor);
  }
};

}  // namespace pwr
