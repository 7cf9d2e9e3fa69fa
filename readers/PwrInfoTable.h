#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "readers/PwrRecord.h"

namespace pwrfile {

/// What an info record describes.
enum class InfoType : std::uint8_t {
  Type,  ///< one of the other types
  Text,
  MetricClass,
  TabGroup,
  TimelineGroup,
  Quantity,
  Field,
  Entity,
  Color,
  Metric,
  State,
  Process,
  Thread,
  // Relations: what a metric (the parent) refers to (the value).
  MetricClassOf,
  TabGroupOf,
  TimelineGroupOf,
  QuantityOf,
  FieldOf,
};
constexpr std::size_t kInfoTypes = 18;

/// The name that a file gives the type.
std::string_view infoTypeName(InfoType type);

/// Whether the value of infos of the type is the id of another one.
bool hasIdValue(InfoType type);

/// A description that data records and other descriptions refer to by its id.
struct Info {
  std::uint32_t id = 0;
  InfoType type = InfoType::Type;
  std::string longName;
  std::string shortName;
  std::string description;
  std::uint32_t value = 0;
  std::uint32_t parent = info_record::kNoParent;

  bool hasParent() const { return parent != info_record::kNoParent; }
};

/// The descriptions of a timeline file: all of them, in memory, since any data record may refer to
/// any of them. What it returns stays valid.
class PwrInfoTable {
 public:
  /// Checks an info record against what came before it, and keeps it. Throws FormatError.
  const Info& add(const PwrRecord& record);

  /// In the order of the file.
  const std::deque<Info>& all() const { return infos_; }
  /// Null when there is none.
  const Info* find(std::uint64_t id) const;
  /// What a metric refers to; null when it refers to none. Not for fields, of which there may be
  /// several, nor for the class, which has no id.
  const Info* relationOf(const Info& metric, InfoType relation) const;
  /// The class of a metric; null when the metric has none.
  const Info* classOf(const Info& metric) const;

  /// The info that the number at `at` of a record is the id of. Throws FormatError when there is
  /// none or it has another type.
  const Info& require(const PwrRecord& record, std::size_t at, std::uint64_t id,
                      InfoType type) const;

 private:
  void readNames(const PwrRecord& record, Info& info);
  InfoType readType(const PwrRecord& record, const std::string& name) const;
  void checkType(const PwrRecord& record, const Info& info);
  void checkParent(const PwrRecord& record, const Info& info) const;
  void checkValue(const PwrRecord& record, const Info& info);
  void checkClass(const PwrRecord& record, const Info& info);
  void checkRelation(const PwrRecord& record, const Info& info);

  std::deque<Info> infos_;
  std::unordered_map<std::uint32_t, const Info*> byId_;
  std::array<std::optional<std::uint32_t>, kInfoTypes> typeIds_;
  std::unordered_set<std::uint32_t> metricValues_;
  std::map<std::uint32_t, const Info*> classes_;                         ///< by value
  std::map<std::pair<std::uint32_t, InfoType>, const Info*> relations_;  ///< by metric
};

}  // namespace pwrfile
