#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "writers/host/Metric.h"

/// Finds what a writer keeps for the (entity, descriptor) pair of a data element. The elements of a
/// metric tend to come in the same order in every sample, so the place in the sample is tried
/// first, and the hash table is asked only when the order changes.
template <typename Kept>
class ElementMap {
 public:
  struct Key {
    std::uint64_t entity;      ///< 0 for an element without entity
    std::uint64_t descriptor;  ///< 0 for an element without descriptor
    bool operator==(const Key&) const = default;
  };

  static Key keyOf(const pwr::EntityHandle* entity, const pwr::DataDescriptor* descriptor) {
    return {entity == nullptr ? 0 : entity->getId(),
            descriptor == nullptr ? 0 : descriptor->getId()};
  }

  /// `position` is the element's place in its sample. Null when nothing is kept under the key. The
  /// pointer stays valid as long as the map.
  Kept* find(std::size_t position, const Key& key) {
    if (position < recent_.size() && recent_[position].key == key) return recent_[position].kept;
    const auto found = kept_.find(key);
    if (found == kept_.end()) return nullptr;
    if (recent_.size() <= position) recent_.resize(position + 1);
    recent_[position] = {key, &found->second};
    return &found->second;
  }

  /// Null when the key is taken.
  Kept* add(const Key& key, const Kept& kept) {
    const auto [place, isNew] = kept_.emplace(key, kept);
    return isNew ? &place->second : nullptr;
  }

 private:
  struct Hash {
    std::size_t operator()(const Key& key) const {
      // Ids are small and dense: the factor spreads them over the whole word.
      return static_cast<std::size_t>((key.entity * 0x9E3779B97F4A7C15U) ^ key.descriptor);
    }
  };
  struct Recent {
    Key key = {~std::uint64_t{0}, ~std::uint64_t{0}};  // of nothing
    Kept* kept = nullptr;
  };

  std::unordered_map<Key, Kept, Hash> kept_;
  std::vector<Recent> recent_;
};
