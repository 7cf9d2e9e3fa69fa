#pragma once

#include <memory>
#include <string_view>
#include <unordered_map>
#include <variant>

#include "tavrin/stream/JsonObject.h"
#include "writers/host/Attribute.h"
#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/Metric.h"
#include "writers/host/Quantity.h"
#include "writers/host/TableMessage.h"

namespace tavrin {

/// What the definitions of a recorded stream have created, by the ids that the stream uses. The
/// operations that look up take the member in which the id stands, for the StreamError that they
/// throw when the id is not defined or that of something else.
class DefinitionTable {
 public:
  using Table = std::shared_ptr<const pwr::TableDescription>;
  /// A metric is kept as the message that its samples reuse.
  using Definition = std::variant<const pwr::Quantity*, const pwr::Attribute*,
                                  const pwr::DataDescriptor*, const pwr::DataHandle*,
                                  const pwr::EntityHandle*, std::unique_ptr<pwr::Metric>, Table>;

  /// The place of a new definition; throws StreamError when the record has no id or one that is
  /// taken.
  Definition& add(const JsonObject& record);

  const pwr::Attribute* attribute(const json::Value& id, std::string_view member) const;
  const pwr::DataDescriptor* descriptor(const json::Value& id, std::string_view member) const;
  const pwr::EntityHandle* entity(const json::Value& id, std::string_view member) const;
  /// Any handle: an attribute, a descriptor or another one.
  const pwr::DataHandle* handle(const json::Value& id, std::string_view member) const;
  pwr::Metric& metric(const json::Value& id, std::string_view member) const;
  const Table& table(const json::Value& id, std::string_view member) const;
  /// What has the id if it is of the kind `Kept`; else null.
  template <typename Kept>
  const Kept* find(unsigned long long id) const {
    const Definition* const definition = look(id);
    return definition == nullptr ? nullptr : std::get_if<Kept>(definition);
  }

  /// The quantity of the record's member "quantity" or the like; null when it is left out.
  const pwr::Quantity* quantity(const JsonObject& record, std::string_view member) const;

  /// A value as the stream writes it.
  pwr::Data data(const json::Value& value, std::string_view member) const;
  /// The pairs of attribute and value of an array.
  pwr::AttributeValueManager attributes(const json::Value& pairs, std::string_view member) const;

 private:
  const Definition* look(unsigned long long id) const {
    const auto found = definitions_.find(id);
    return found == definitions_.end() ? nullptr : &found->second;
  }
  const Definition& get(const json::Value& id, std::string_view member) const;
  template <typename Kept>
  const Kept& get(const json::Value& id, std::string_view member, const char* wanted) const;
  pwr::Data taggedData(const json::Value& value, std::string_view member) const;

  std::unordered_map<unsigned long long, Definition> definitions_;
};

}  // namespace tavrin
