#include "writers/timeline/InfoRecords.h"

#include <cstring>

#include "writers/common/LittleEndian.h"
#include "writers/host/UniqueId.h"
#include "writers/timeline/TimelineLog.h"

namespace {

void putLow16(std::byte* place, std::size_t value) {
  putLittleEndian(place, static_cast<std::uint16_t>(value));
}
void putLow32(std::byte* place, std::uint64_t value) {
  putLittleEndian(place, static_cast<std::uint32_t>(value));
}

/// Of a character of UTF-8. What has more is none, and may be cut anywhere.
constexpr std::size_t kMostBytes = 4;

bool continuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

InfoTexts InfoTexts::fitting(std::string_view typeName) const {
  std::size_t room = pwrfile::info_record::kMaxNames - 1 - typeName.size();
  InfoTexts fit;
  fit.shortName = cutToFit(shortName, room / 2);
  room -= fit.shortName.size();
  fit.longName = cutToFit(longName, room);
  room -= fit.longName.size();
  fit.description = cutToFit(description, room);
  return fit;
}

std::string_view cutToFit(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  for (std::size_t back = 0; back < kMostBytes && back <= maxBytes; ++back) {
    if (!continuesCharacter(text[maxBytes - back])) return text.substr(0, maxBytes - back);
  }
  return text.substr(0, maxBytes);
}

std::string_view endThatFits(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  const std::string_view end = text.substr(text.size() - maxBytes);
  for (std::size_t ahead = 0; ahead < kMostBytes && ahead < end.size(); ++ahead) {
    if (!continuesCharacter(end[ahead])) return end.substr(ahead);
  }
  return end;
}

InfoRecords::InfoRecords(TimelineOutput& output, bool legacy) : output_(output) {
  putLittleEndian(record_.data(), pwrfile::kDataMark);
  putLittleEndian(record_.data() + pwrfile::kDataKind, pwrfile::kInfoKind);
  putLittleEndian(record_.data() + pwrfile::kDataVersion,
                  legacy ? pwrfile::kLegacyVersion : pwrfile::kVersion);
}

int InfoRecords::writeInfoRecord(std::string_view infoTypeName, std::uint64_t infoTypeId,
                                 std::string_view longName, std::string_view shortName,
                                 std::string_view description, std::uint64_t value,
                                 std::uint64_t uniqueId, std::uint64_t parentUid) {
  const Info info{infoTypeName, infoTypeId, {longName, shortName, description},
                  value,        uniqueId,   parentUid};
  const auto [key, isNew] = written_.insert(keyOf_i(info));
  if (isNew) return append_i(info);
  TIMELINE_DEBUG("Info metadata for '%s' already written, skipping...\n", key->c_str());
  return 0;
}

std::string InfoRecords::keyOf_i(const Info& info) {
  std::string key;
  key.append("infotype:").append(info.typeName);
  key.append("_longname:").append(info.texts.longName);
  key.append("_shortname:").append(info.texts.shortName);
  key.append("_description:").append(info.texts.description);
  key.append("_value:").append(std::to_string(info.value));
  key.append("_uid:").append(std::to_string(info.id));
  key.append("_parent_uid:").append(std::to_string(info.parent));
  return key;
}

int InfoRecords::append_i(const Info& info) {
  namespace record = pwrfile::info_record;
  const auto& [longName, shortName, description] = info.texts;
  TIMELINE_DEBUG("Processing info metadata for '%s'.\n", keyOf_i(info).c_str());
  const std::size_t namesSize =
      longName.size() + shortName.size() + info.typeName.size() + description.size() + 1;
  if (namesSize > record::kMaxNames) {
    TIMELINE_WARNING("Info names string too long\n");
    return 1;
  }
  std::byte* const start = record_.data();
  const std::size_t size = record::kNames + namesSize;
  putLow16(start + pwrfile::kDataLength, size - pwrfile::kDataLengthLess);
  putLow32(start + record::kTypeId, info.typeId);
  putLow32(start + record::kValue, info.value);
  putLow32(start + record::kParent, info.parent);
  putLow32(start + record::kId, info.id);
  putLow16(start + record::kLongLength, longName.size());
  putLow16(start + record::kShortLength, shortName.size());
  putLow16(start + record::kTypeNameLength, info.typeName.size());
  putLow16(start + record::kDescriptionLength, description.size());
  std::byte* place = start + record::kNames;
  for (const std::string_view name : {longName, shortName, info.typeName, description}) {
    if (!name.empty()) std::memcpy(place, name.data(), name.size());
    place += name.size();
  }
  *place = std::byte{0};
  return output_.writeRecord(streamKey_, start, size);
}

int InfoRecords::write(std::string_view infoTypeName, const InfoTexts& texts, std::uint64_t value,
                       std::uint64_t uniqueId, std::uint64_t parentUid) {
  const std::uint64_t typeId = getInfoTypeId(infoTypeName);
  if (typeId == pwrfile::kNone) return 1;
  return writeInfoRecord(infoTypeName, typeId, texts.longName, texts.shortName, texts.description,
                         value, uniqueId, parentUid);
}

int InfoRecords::writeNew(std::string_view infoTypeName, const InfoTexts& texts,
                          std::uint64_t value, std::uint64_t newId, std::uint64_t parentUid) {
  const std::uint64_t typeId = getInfoTypeId(infoTypeName);
  if (typeId == pwrfile::kNone) return 1;
  return append_i({infoTypeName, typeId, texts, value, newId, parentUid});
}

std::uint64_t InfoRecords::getInfoTypeId(std::string_view infoTypeName) {
  using pwrfile::info_type::kInfoType;
  using pwrfile::info_type::kInfoTypeId;
  const auto known = types_.find(infoTypeName);
  if (known != types_.end()) return known->second;
  const std::string name(infoTypeName);
  const std::uint64_t id = pwr::UniqueId().getId();
  if (append_i({kInfoType, kInfoTypeId, {name, name, ""}, 0, id, pwrfile::kNone}) != 0) {
    TIMELINE_WARNING("Failed to write info type metadata for '%s'.\n", name.c_str());
    return pwrfile::kNone;
  }
  types_.emplace(name, id);
  return id;
}

std::uint64_t InfoRecords::getTextId(const std::string& text) {
  const std::uint64_t known = texts_.find(text);
  if (known != pwrfile::kNone) return known;
  const std::uint64_t id = pwr::UniqueId().getId();
  if (writeNew(pwrfile::info_type::kText, {text, text, ""}, 0, id, pwrfile::kNone) != 0) {
    TIMELINE_WARNING("Failed to write an info record for string attribute '%s'.\n", text.c_str());
    return pwrfile::kNone;
  }
  texts_.add(text, id);
  return id;
}

int InfoRecords::writeMetricTypes() {
  for (const pwrfile::MetricClassName& name : pwrfile::kMetricClasses) {
    if (writeNew(pwrfile::info_type::kMetricType, {name.longName, name.shortName, ""},
                 static_cast<std::uint64_t>(name.metricClass), pwr::UniqueId().getId(),
                 pwrfile::kNone) == 0) {
      continue;
    }
    TIMELINE_WARNING("Failed to write metric type metadata.\n");
    return 1;
  }
  return 0;
}
