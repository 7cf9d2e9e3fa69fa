#include "tavrin/stream/DefinitionTable.h"

#include <utility>

namespace tavrin {

namespace {

std::string idText(unsigned long long id) {
  return "id " + std::to_string(id);
}

template <typename Number, typename Convert>
pwr::Data rangeOf(const json::Value& value, std::string_view member, Convert convert) {
  const json::Value::ConstArray ends = json::array(value, member, 2);
  return pwr::Data(std::pair<Number, Number>(convert(ends[0], member), convert(ends[1], member)));
}

}  // namespace

DefinitionTable::Definition& DefinitionTable::add(const JsonObject& record) {
  const auto id = json::integer<unsigned long long>(record.require("id"), "id");
  if (id == 0) json::fail("id", "0, which is the quantity of time");
  const auto [place, added] = definitions_.try_emplace(id);
  if (!added) throw StreamError(idText(id) + " is defined twice");
  return place->second;
}

const DefinitionTable::Definition& DefinitionTable::get(const json::Value& id,
                                                        std::string_view member) const {
  const auto number = json::integer<unsigned long long>(id, member);
  const Definition* const found = look(number);
  if (found == nullptr) json::fail(member, idText(number) + ", which is not defined");
  return *found;
}

template <typename Kept>
const Kept& DefinitionTable::get(const json::Value& id, std::string_view member,
                                 const char* wanted) const {
  const Kept* const kept = std::get_if<Kept>(&get(id, member));
  if (kept == nullptr) {
    json::fail(member, idText(id.GetUint64()) + ", which is no " + wanted);
  }
  return *kept;
}

const pwr::Attribute* DefinitionTable::attribute(const json::Value& id,
                                                 std::string_view member) const {
  return get<const pwr::Attribute*>(id, member, "attribute");
}

const pwr::DataDescriptor* DefinitionTable::descriptor(const json::Value& id,
                                                       std::string_view member) const {
  return get<const pwr::DataDescriptor*>(id, member, "descriptor");
}

const pwr::EntityHandle* DefinitionTable::entity(const json::Value& id,
                                                 std::string_view member) const {
  return get<const pwr::EntityHandle*>(id, member, "entity");
}

const pwr::DataHandle* DefinitionTable::handle(const json::Value& id,
                                               std::string_view member) const {
  const Definition& definition = get(id, member);
  if (const auto* attribute = std::get_if<const pwr::Attribute*>(&definition)) return *attribute;
  if (const auto* descriptor = std::get_if<const pwr::DataDescriptor*>(&definition)) {
    return *descriptor;
  }
  return get<const pwr::DataHandle*>(id, member, "handle");
}

pwr::Metric& DefinitionTable::metric(const json::Value& id, std::string_view member) const {
  return *get<std::unique_ptr<pwr::Metric>>(id, member, "metric");
}

const DefinitionTable::Table& DefinitionTable::table(const json::Value& id,
                                                     std::string_view member) const {
  return get<Table>(id, member, "table");
}

const pwr::Quantity* DefinitionTable::quantity(const JsonObject& record,
                                               std::string_view member) const {
  const json::Value* const id = record.find(member);
  if (id == nullptr) return nullptr;
  if (id->IsUint64() && id->GetUint64() == 0) return pwr::Quantity::time();
  return get<const pwr::Quantity*>(*id, member, "quantity");
}

pwr::Data DefinitionTable::data(const json::Value& value, std::string_view member) const {
  if (value.IsNull()) return {};
  if (value.IsDouble()) return pwr::Data(value.GetDouble());
  if (value.IsUint64()) return pwr::Data(static_cast<unsigned long long>(value.GetUint64()));
  if (value.IsInt64()) return pwr::Data(static_cast<long long>(value.GetInt64()));
  if (value.IsString()) return pwr::Data(json::text(value, member));
  if (value.IsObject() && value.MemberCount() == 1) return taggedData(value, member);
  json::fail(member, "not a value");
}

pwr::Data DefinitionTable::taggedData(const json::Value& value, std::string_view member) const {
  const auto& [name, content] = *value.MemberBegin();
  const std::string_view tag(name.GetString(), name.GetStringLength());
  if (tag == "real") return pwr::Data(json::real(value, member));
  if (tag == "int") return pwr::Data(json::integer<long long>(content, tag));
  if (tag == "intRange") return rangeOf<long long>(content, tag, json::integer<long long>);
  if (tag == "uintRange") {
    return rangeOf<unsigned long long>(content, tag, json::integer<unsigned long long>);
  }
  if (tag == "realRange") return rangeOf<double>(content, tag, json::real);
  if (tag != "handle") json::fail(tag, "unknown here");
  const pwr::DataHandle* const named = content.IsNull() ? nullptr : handle(content, tag);
  return pwr::Data(named);
}

pwr::AttributeValueManager DefinitionTable::attributes(const json::Value& pairs,
                                                       std::string_view member) const {
  pwr::AttributeValueManager attributes;
  for (const json::Value& item : json::array(pairs, member)) {
    const json::Value::ConstArray pair = json::array(item, member, 2);
    attributes.addAttributeValue(attribute(pair[0], member), data(pair[1], member));
  }
  return attributes;
}

}  // namespace tavrin
