#include "writers/timeline/InfoRecords.h"

#include <charconv>
#include <cstring>

#include "writers/LittleEndian.h"
#include "writers/host/UniqueId.h"
#include "writers/timeline/TimelineLog.h"

namespace {

void appendNumber(std::string& text, std::uint64_t number) {
  std::array<char, 20> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  text.append(digits.data(), end);
}

void putLow16(std::byte* place, std::size_t value) {
  putLittleEndian(place, static_cast<std::uint16_t>(value));
}
void putLow32(std::byte* place, std::uint64_t value) {
  putLittleEndian(place, static_cast<std::uint32_t>(value));
}

}  // namespace

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
  namespace record = pwrfile::info_record;
  key_.assign("infotype:").append(infoTypeName);
  key_.append("_longname:").append(longName);
  key_.append("_shortname:").append(shortName);
  key_.append("_description:").append(description);
  appendNumber(key_.append("_value:"), value);
  appendNumber(key_.append("_uid:"), uniqueId);
  appendNumber(key_.append("_parent_uid:"), parentUid);
  if (!written_.insert(key_).second) {
    PW_LOG(kTimelineLog, PW_LOG_DEBUG,
           "DEBUG: KorvellWriterPlugin:    Info metadata for '%s' already written, skipping...\n",
           key_.c_str());
    return 0;
  }
  PW_LOG(kTimelineLog, PW_LOG_DEBUG,
         "DEBUG: KorvellWriterPlugin:    Processing info metadata for '%s'.\n", key_.c_str());

  const std::size_t namesSize =
      longName.size() + shortName.size() + infoTypeName.size() + description.size() + 1;
  if (namesSize > record::kMaxNames) {
    PW_LOG(kTimelineLog, PW_LOG_WARNING,
           "WARNING: KorvellWriterPlugin:    Info names string too long\n");
    return 1;
  }
  std::byte* const start = record_.data();
  const std::size_t size = record::kNames + namesSize;
  putLow16(start + pwrfile::kDataLength, size - pwrfile::kDataLengthLess);
  putLow32(start + record::kTypeId, infoTypeId);
  putLow32(start + record::kValue, value);
  putLow32(start + record::kParent, parentUid);
  putLow32(start + record::kId, uniqueId);
  putLow16(start + record::kLongLength, longName.size());
  putLow16(start + record::kShortLength, shortName.size());
  putLow16(start + record::kTypeNameLength, infoTypeName.size());
  putLow16(start + record::kDescriptionLength, description.size());
  std::byte* place = start + record::kNames;
  for (const std::string_view name : {longName, shortName, infoTypeName, description}) {
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

std::uint64_t InfoRecords::getInfoTypeId(std::string_view infoTypeName) {
  using pwrfile::info_type::kInfoType;
  using pwrfile::info_type::kInfoTypeId;
  const auto known = types_.find(infoTypeName);
  if (known != types_.end()) return known->second;
  const std::string name(infoTypeName);
  const std::uint64_t id = pwr::UniqueId().getId();
  if (writeInfoRecord(kInfoType, kInfoTypeId, name, name, "", 0, id, pwrfile::kNone) != 0) {
    PW_LOG(kTimelineLog, PW_LOG_WARNING,
           "WARNING: KorvellWriterPlugin:    Failed to write info type metadata for '%s'.\n",
           name.c_str());
    return pwrfile::kNone;
  }
  types_.emplace(name, id);
  return id;
}

std::uint64_t InfoRecords::getTextId(const std::string& text) {
  using pwrfile::info_type::kText;
  const auto known = texts_.find(text);
  if (known != texts_.end()) return known->second;
  const std::uint64_t id = pwr::UniqueId().getId();
  if (write(kText, {text, text, ""}, 0, id, pwrfile::kNone) != 0) {
    PW_LOG(kTimelineLog, PW_LOG_WARNING,
           "WARNING: KorvellWriterPlugin:    Failed to write an info record for string attribute "
           "'%s'.\n",
           text.c_str());
    return pwrfile::kNone;
  }
  texts_.emplace(text, id);
  return id;
}

int InfoRecords::writeMetricTypes() {
  for (const pwrfile::MetricClassName& name : pwrfile::kMetricClasses) {
    if (write(pwrfile::info_type::kMetricType, {name.longName, name.shortName, ""},
              static_cast<std::uint64_t>(name.metricClass), pwr::UniqueId().getId(),
              pwrfile::kNone) == 0) {
      continue;
    }
    PW_LOG(kTimelineLog, PW_LOG_WARNING,
           "WARNING: KorvellWriterPlugin:    Failed to write metric type metadata.\n");
    return 1;
  }
  return 0;
}
