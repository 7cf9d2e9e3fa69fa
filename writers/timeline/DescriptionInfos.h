#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "writers/host/Data.h"
#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/Quantity.h"
#include "writers/timeline/InfoRecords.h"
#include "writers/timeline/RecentIds.h"

/// Writes what describes entities, fields and the colours of states into the timeline file, each at
/// first sight. The operations return the id that a data record refers to, or `pwrfile::kNone` when
/// the description could not be written.
class DescriptionInfos {
 public:
  explicit DescriptionInfos(InfoRecords& infos) : infos_(infos) {}

  /// Writes the entity's parents, too, before the entity itself. Refuses, with a line, one that is
  /// below more than `kMaxParents` others.
  std::uint64_t entityId(const pwr::EntityHandle& entity);
  std::uint64_t fieldId(const pwr::DataDescriptor& descriptor);
  /// The colour of a state by its name, which is also that of the colour's record.
  std::uint64_t colorId(const std::string& state);
  /// The colour of a state by its value. All numbers of one colour share its record, since there
  /// may be as many of them as there are samples. `quantity` may be null.
  std::uint64_t colorId(const pwr::Data& state, const pwr::Quantity* quantity);

  static constexpr std::size_t kMaxParents = 255;

 private:
  static constexpr std::size_t kRecentStates = 4096;

  std::uint64_t writeEntity_i(const pwr::EntityHandle& entity, std::uint64_t parentId);
  std::uint64_t writeColor_i(const std::string& name, std::uint32_t color);

  InfoRecords& infos_;
  std::unordered_map<const pwr::EntityHandle*, std::uint64_t> entities_;
  std::unordered_map<const pwr::DataDescriptor*, std::uint64_t> fields_;
  RecentIds stateColors_{kRecentStates};
  std::unordered_map<std::uint32_t, std::uint64_t> numberColors_;  // by RGB
  std::string name_;                                               // kept for its memory
};
