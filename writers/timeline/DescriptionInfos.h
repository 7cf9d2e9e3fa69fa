#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"
#include "writers/timeline/InfoRecords.h"

/// Writes what describes entities, fields and the colours of states into the timeline file, each at
/// first sight. The operations return the id that a data record refers to, or `pwrfile::kNone` when
/// the description could not be written.
class DescriptionInfos {
 public:
  explicit DescriptionInfos(InfoRecords& infos) : infos_(infos) {}

  /// Writes the entity's parents, too, before the entity itself.
  std::uint64_t entityId(const pwr::EntityHandle& entity);
  std::uint64_t fieldId(const pwr::DataDescriptor& descriptor);
  std::uint64_t colorId(const std::string& state);

 private:
  int writeEntity_i(const pwr::EntityHandle& entity);

  InfoRecords& infos_;
  std::unordered_map<const pwr::EntityHandle*, std::uint64_t> entities_;
  std::unordered_map<const pwr::DataDescriptor*, std::uint64_t> fields_;
  std::unordered_map<std::string, std::uint64_t> colors_;
};
