#include "writers/timeline/DescriptionInfos.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <vector>

#include "formats/pwr_format.h"
#include "writers/timeline/StateColors.h"
#include "writers/timeline/TimelineLog.h"

using pwrfile::kNone;
namespace info_type = pwrfile::info_type;

namespace {

/// "#0072B2"
std::string digitsOf(std::uint32_t color) {
  std::array<char, 8> rgb{};
  std::snprintf(rgb.data(), rgb.size(), "#%06X", color & 0xFFFFFFU);
  return rgb.data();
}

bool isTooDeep(const pwr::EntityHandle& entity) {
  std::size_t parents = 0;
  for (const auto* next = entity.getParent(); next != nullptr; next = next->getParent()) {
    if (++parents > DescriptionInfos::kMaxParents) return true;
  }
  return false;
}

}  // namespace

std::uint64_t DescriptionInfos::entityId(const pwr::EntityHandle& entity) {
  if (const auto known = entities_.find(&entity); known != entities_.end()) {
    TIMELINE_DEBUG("Entity '%s' metadata already processed. Skipping...\n",
                   entity.getName().c_str());
    return known->second;
  }
  if (isTooDeep(entity)) {
    TIMELINE_WARNING("Entity '%s' is below more than %d others.\n", entity.getName().c_str(),
                     static_cast<int>(kMaxParents));
    return kNone;
  }
  // From the entity up to the first parent that is known.
  std::vector<const pwr::EntityHandle*> chain;
  std::uint64_t id = kNone;
  for (const auto* next = &entity; next != nullptr; next = next->getParent()) {
    if (const auto known = entities_.find(next); known != entities_.end()) {
      TIMELINE_DEBUG("Entity '%s' topology already processed. Skipping...\n",
                     next->getName().c_str());
      id = known->second;
      break;
    }
    chain.push_back(next);
  }
  for (; !chain.empty(); chain.pop_back()) {
    id = writeEntity_i(*chain.back(), id);
    if (id == kNone) break;
  }
  return id;
}

std::uint64_t DescriptionInfos::writeEntity_i(const pwr::EntityHandle& entity,
                                              std::uint64_t parentId) {
  const std::string qualified = entity.getQualifiedName();
  const InfoTexts texts =
      InfoTexts{qualified, entity.getName(), entity.getLevel()}.fitting(info_type::kEntity);
  if (infos_.write(info_type::kEntity, texts, 0, entity.getId(), parentId) != 0) return kNone;
  return entities_.emplace(&entity, entity.getId()).first->second;
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
  const std::uint64_t known = stateColors_.find(state);
  if (known != kNone) return known;
  const std::uint64_t id = writeColor_i(state, stateColor(state));
  if (id != kNone) stateColors_.add(state, id);
  return id;
}

std::uint64_t DescriptionInfos::colorId(const pwr::Data& state, const pwr::Quantity* quantity) {
  if (!state.isNumeric()) {
    state.toString(name_);
    return colorId(name_);
  }
  double number = 0.0;
  state.toReal(number);
  const std::uint32_t color =
      stateColor(number, quantity == nullptr ? std::string_view() : quantity->toUnitsString());
  const auto known = numberColors_.find(color);
  if (known != numberColors_.end()) return known->second;
  const std::uint64_t id = writeColor_i(digitsOf(color), color);
  if (id != kNone) numberColors_.emplace(color, id);
  return id;
}

std::uint64_t DescriptionInfos::writeColor_i(const std::string& name, std::uint32_t color) {
  const std::string digits = digitsOf(color);
  const InfoTexts texts = InfoTexts{name, digits, {}}.fitting(info_type::kColor);
  const std::uint64_t id = pwr::UniqueId().getId();
  return infos_.writeNew(info_type::kColor, texts, color, id, kNone) == 0 ? id : kNone;
}
