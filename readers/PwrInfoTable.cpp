#include "readers/PwrInfoTable.h"

#include <algorithm>
#include <cstdio>

#include "readers/PlainText.h"

namespace pwrfile {

namespace {

namespace field = info_record;

enum class ParentRule : std::uint8_t { None, Optional, Required };
enum class ValueRule : std::uint8_t { Zero, Any, Class, Id };

struct Rule {
  std::string_view name;
  ParentRule parentRule = ParentRule::None;
  InfoType parentType = InfoType::Type;
  ValueRule valueRule = ValueRule::Zero;
  InfoType valueType = InfoType::Type;  // with ValueRule::Id
};

using enum ParentRule;

/// In the order of InfoType.
constexpr std::array<Rule, kInfoTypes> kRules{{
    {info_type::kInfoType},
    {info_type::kText},
    {info_type::kMetricType, None, InfoType::Type, ValueRule::Class},
    {info_type::kTabGroup},
    {info_type::kTimelineGroup, Required, InfoType::TabGroup},
    {info_type::kQuantity, Optional, InfoType::Quantity, ValueRule::Any},
    {info_type::kField},
    {info_type::kEntity, Optional, InfoType::Entity},
    {info_type::kColor, None, InfoType::Type, ValueRule::Any},
    {info_type::kMetric, None, InfoType::Type, ValueRule::Any},
    {info_type::kState, Required, InfoType::Metric, ValueRule::Id, InfoType::Color},
    {info_type::kProcess, Optional, InfoType::Process, ValueRule::Any},
    {info_type::kThread, Optional, InfoType::Process, ValueRule::Any},
    {info_type::kMetricTypeOf, Required, InfoType::Metric, ValueRule::Class},
    {info_type::kTabGroupOf, Required, InfoType::Metric, ValueRule::Id, InfoType::TabGroup},
    {info_type::kTimelineGroupOf, Required, InfoType::Metric, ValueRule::Id,
     InfoType::TimelineGroup},
    {info_type::kQuantityOf, Required, InfoType::Metric, ValueRule::Id, InfoType::Quantity},
    {info_type::kFieldOf, Required, InfoType::Metric, ValueRule::Id, InfoType::Field},
}};

const Rule& ruleOf(InfoType type) {
  return kRules[static_cast<std::size_t>(type)];
}

/// The fields that an info shares with data records, and its length.
void checkFrame(const PwrRecord& record) {
  record.expect(kDataTsc, 0, record.u64(kDataTsc), "the time");
  if (record.size() < field::kNames) record.expectSize(field::kNames, "an info record");
  const std::size_t names = std::size_t{record.u16(field::kLongLength)} +
                            record.u16(field::kShortLength) + record.u16(field::kTypeNameLength) +
                            record.u16(field::kDescriptionLength) + 1;
  record.expectSize(field::kNames + names, "an info record");
  record.require(names <= field::kMaxNames, field::kLongLength, "names of at most 400 bytes",
                 names);
  record.expect(record.size() - 1, 0, record.u8(record.size() - 1), "the closing byte");
}

}  // namespace

std::string_view infoTypeName(InfoType type) {
  return ruleOf(type).name;
}

bool hasIdValue(InfoType type) {
  return ruleOf(type).valueRule == ValueRule::Id;
}

const Info& PwrInfoTable::add(const PwrRecord& record) {
  checkFrame(record);
  Info info{.id = record.u32(field::kId),
            .value = record.u32(field::kValue),
            .parent = record.u32(field::kParent)};
  readNames(record, info);
  record.require(info.id != 0 && info.id != field::kNoParent && !byId_.contains(info.id),
                 field::kId, "an id that is new, and neither 0 nor all ones", info.id);
  checkParent(record, info);
  checkValue(record, info);
  if (info.type == InfoType::Type) checkType(record, info);
  const Info& kept = infos_.emplace_back(std::move(info));
  byId_.emplace(kept.id, &kept);
  if (kept.type == InfoType::MetricClass) classes_.emplace(kept.value, &kept);
  if (kept.type >= InfoType::MetricClassOf)
    relations_.emplace(std::pair(kept.parent, kept.type), &kept);
  return kept;
}

void PwrInfoTable::readNames(const PwrRecord& record, Info& info) {
  std::size_t at = field::kNames;
  const auto take = [&](std::size_t lengthAt) {
    const std::size_t length = record.u16(lengthAt);
    at += length;
    return record.text(at - length, length);
  };
  info.longName = take(field::kLongLength);
  info.shortName = take(field::kShortLength);
  info.type = readType(record, take(field::kTypeNameLength));
  info.description = take(field::kDescriptionLength);
}

InfoType PwrInfoTable::readType(const PwrRecord& record, const std::string& name) const {
  const auto* const rule = std::ranges::find(kRules, std::string_view(name), &Rule::name);
  const std::size_t nameAt =
      field::kNames + record.u16(field::kLongLength) + record.u16(field::kShortLength);
  if (rule == kRules.end()) record.fail(nameAt, "the name of a type", inQuotes(name));
  const auto type = static_cast<InfoType>(rule - kRules.begin());
  const std::optional<std::uint32_t> id =
      type == InfoType::Type ? info_type::kInfoTypeId : typeIds_[static_cast<std::size_t>(type)];
  if (!id) record.fail(nameAt, "the name of a type that is described", inQuotes(name));
  if (record.u32(field::kTypeId) != *id) {
    record.fail(field::kTypeId, "the id " + std::to_string(*id) + " of the type " + inQuotes(name),
                std::to_string(record.u32(field::kTypeId)));
  }
  return type;
}

void PwrInfoTable::checkType(const PwrRecord& record, const Info& info) {
  const auto* const rule = std::ranges::find(kRules.begin() + 1, kRules.end(),
                                             std::string_view(info.longName), &Rule::name);
  if (rule == kRules.end()) {
    record.fail(field::kNames, "the name of a type", inQuotes(info.longName));
  }
  auto& id = typeIds_[static_cast<std::size_t>(rule - kRules.begin())];
  if (id) record.fail(field::kNames, "a type that is not described yet", inQuotes(info.longName));
  id = info.id;
}

void PwrInfoTable::checkParent(const PwrRecord& record, const Info& info) const {
  const Rule& rule = ruleOf(info.type);
  if (rule.parentRule == ParentRule::None) {
    record.expectMark(field::kParent, field::kNoParent, info.parent, "no parent,");
  } else if (rule.parentRule == ParentRule::Required || info.hasParent()) {
    require(record, field::kParent, info.parent, rule.parentType);
  }
}

void PwrInfoTable::checkValue(const PwrRecord& record, const Info& info) {
  const Rule& rule = ruleOf(info.type);
  if (rule.valueRule == ValueRule::Zero) record.expect(field::kValue, 0, info.value, "the value");
  if (rule.valueRule == ValueRule::Id) require(record, field::kValue, info.value, rule.valueType);
  if (rule.valueRule == ValueRule::Class) checkClass(record, info);
  if (info.type >= InfoType::MetricClassOf) checkRelation(record, info);
  if (info.type == InfoType::Metric) {
    record.require(metricValues_.insert(info.value).second, field::kValue,
                   "the number of a metric that is not described yet", info.value);
  }
  if (info.type == InfoType::Color) {
    std::array<char, 16> rgb{};
    std::snprintf(rgb.data(), rgb.size(), "#%06X", info.value);
    if (info.value > 0xFFFFFF || info.shortName != rgb.data()) {
      record.fail(field::kValue, "24 bits of colour, with their digits as short name",
                  std::string(rgb.data()) + " and " + inQuotes(info.shortName));
    }
  }
}

void PwrInfoTable::checkClass(const PwrRecord& record, const Info& info) {
  const auto* const name = std::ranges::find(kMetricClasses, static_cast<MetricClass>(info.value),
                                             &MetricClassName::metricClass);
  record.require(name != kMetricClasses.end(), field::kValue, "a metric class from 4 to 9",
                 info.value);
  const bool isKnown = classes_.contains(info.value);
  if (info.type == InfoType::MetricClassOf) {
    record.require(isKnown, field::kValue, "a metric class that is described", info.value);
    return;
  }
  record.require(!isKnown, field::kValue, "a metric class that is not described yet", info.value);
  if (info.longName != name->longName || info.shortName != name->shortName) {
    record.fail(field::kNames, inQuotes(name->longName) + " and " + inQuotes(name->shortName),
                inQuotes(info.longName) + " and " + inQuotes(info.shortName));
  }
}

void PwrInfoTable::checkRelation(const PwrRecord& record, const Info& info) {
  if (info.type == InfoType::FieldOf) return;
  record.require(!relations_.contains({info.parent, info.type}), field::kParent,
                 "a metric that has no such relation yet", info.parent);
}

const Info* PwrInfoTable::find(std::uint64_t id) const {
  if (id > 0xFFFFFFFF) return nullptr;
  const auto found = byId_.find(static_cast<std::uint32_t>(id));
  return found == byId_.end() ? nullptr : found->second;
}

const Info* PwrInfoTable::relationOf(const Info& metric, InfoType relation) const {
  const auto found = relations_.find({metric.id, relation});
  return found == relations_.end() ? nullptr : find(found->second->value);
}

const Info* PwrInfoTable::classOf(const Info& metric) const {
  const auto found = relations_.find({metric.id, InfoType::MetricClassOf});
  return found == relations_.end() ? nullptr : classes_.at(found->second->value);
}

const Info& PwrInfoTable::require(const PwrRecord& record, std::size_t at, std::uint64_t id,
                                  InfoType type) const {
  const Info* const info = find(id);
  if (info != nullptr && info->type == type) return *info;
  record.fail(at, "the id of a record of type " + inQuotes(infoTypeName(type)),
              std::to_string(id) +
                  (info == nullptr ? ", which is none"
                                   : ", which has type " + inQuotes(infoTypeName(info->type))));
}

}  // namespace pwrfile
