#include "writers/timeline/DescriptionInfos.h"

#include <array>
#include <cstdio>

#include "formats/pwr_format.h"
#include "writers/timeline/InfoTexts.h"
#include "writers/timeline/StateColors.h"
#include "writers/timeline/TimelineLog.h"

using pwrfile::kNone;
namespace info_type = pwrfile::info_type;

std::uint64_t DescriptionInfos::entityId(const pwr::EntityHandle& entity) {
  const auto known = entities_.find(&entity);
  if (known != entities_.end()) {
    PW_LOG(kTimelineLog, PW_LOG_DEBUG,
           "DEBUG: KorvellWriterPlugin:    Entity '%s' metadata already processed. Skipping...\n",
           entity.getName().c_str());
    return known->second;
  }
  if (writeEntity_i(entity) != 0) return kNone;
  return entities_.emplace(&entity, entity.getId()).first->second;
}

int DescriptionInfos::writeEntity_i(const pwr::EntityHandle& entity) {
  std::uint64_t parentId = kNone;
  if (const pwr::EntityHandle* const parent = entity.getParent(); parent != nullptr) {
    parentId = entityId(*parent);
    if (parentId == kNone) return 1;
  }
  const std::string qualified = entity.getQualifiedName();
  const InfoTexts texts =
      InfoTexts{qualified, entity.getName(), entity.getLevel()}.fitting(info_type::kEntity);
  return infos_.write(info_type::kEntity, texts, 0, entity.getId(), parentId);
}

std::uint64_t DescriptionInfos::fieldId(const pwr::DataDescriptor& descriptor) {
  const auto known = fields_.find(&descriptor);
  if (known != fields_.end()) return known->second;
  const InfoTexts texts =
      InfoTexts{descriptor.getName(), descriptor.getName(), descriptor.getDescription()}.fitting(
          info_type::kField);
  if (infos_.write(info_type::kField, texts, 0, descriptor.getId(), kNone) != 0) return kNone;
  return fields_.emplace(&descriptor, descriptor.getId()).first->second;
}

std::uint64_t DescriptionInfos::colorId(const std::string& state) {
  const auto known = colors_.find(state);
  if (known != colors_.end()) return known->second;
  const std::uint32_t color = stateColor(state);
  std::array<char, 8> rgb{};
  std::snprintf(rgb.data(), rgb.size(), "#%06X", color & 0xFFFFFFU);
  const InfoTexts texts = InfoTexts{state, rgb.data(), {}}.fitting(info_type::kColor);
  const std::uint64_t id = pwr::UniqueId().getId();
  if (infos_.write(info_type::kColor, texts, color, id, kNone) != 0) return kNone;
  return colors_.emplace(state, id).first->second;
}
