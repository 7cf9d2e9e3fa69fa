#pragma once

#include <cstddef>
#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"

/// What a writer keeps for each pair of entity and descriptor of one metric. The elements of a
/// metric come in the same order again and again, so the table first tries the pair behind the one
/// found last: a sample in the usual order costs two comparisons per element.
template <typename Series>
class SeriesIndex {
 public:
  /// The series of the pair, made by `make()` when the pair is new. Valid until the next call.
  template <typename Make>
  Series& find(const pwr::EntityHandle* entity, const pwr::DataDescriptor* descriptor,
               const Make& make) {
    const Pair pair{entity, descriptor};
    if (next_ >= entries_.size()) next_ = 0;
    if (entries_.empty() || entries_[next_].first != pair) next_ = lookUp(pair, make);
    return entries_[next_++].second;
  }

 private:
  using Pair = std::pair<const pwr::EntityHandle*, const pwr::DataDescriptor*>;
  struct Hash {
    std::size_t operator()(const Pair& pair) const {
      return std::hash<const void*>()(pair.first) * 31 + std::hash<const void*>()(pair.second);
    }
  };

  template <typename Make>
  std::size_t lookUp(const Pair& pair, const Make& make) {
    const auto [place, isNew] = places_.try_emplace(pair, entries_.size());
    if (isNew) entries_.emplace_back(pair, make());
    return place->second;
  }

  std::vector<std::pair<Pair, Series>> entries_;
  std::unordered_map<Pair, std::size_t, Hash> places_;
  std::size_t next_ = 0;
};
