#include "tavrin/stream/DefinitionReader.h"

#include <utility>
#include <vector>

#include "hostcommon/Descriptions.h"

namespace tavrin {

namespace {

/// Names are joined along the chain of parents, which must come to an end soon.
void checkDepth(const pwr::EntityHandle* parent) {
  constexpr int kMostParents = 255;
  int parents = 0;
  for (; parent != nullptr; parent = parent->getParent()) ++parents;
  if (parents > kMostParents) json::fail("parent", "the 256th of a chain of parents");
}

std::vector<std::string> linesOf(const JsonObject& notes, std::string_view member) {
  std::vector<std::string> lines;
  notes.forEach(member,
                [&](const json::Value& line) { lines.push_back(json::text(line, member)); });
  return lines;
}

}  // namespace

std::shared_ptr<const pwr::TextNotes> readNotes(const JsonObject& record) {
  const json::Value* const value = record.find("notes");
  if (value == nullptr) return nullptr;
  const JsonObject notes(*value, "notes", {"before", "after"});
  return std::make_shared<const pwr::TextNotes>(linesOf(notes, "before"), linesOf(notes, "after"));
}

bool DefinitionReader::read(std::string_view type, const json::Value& record) {
  using Read = void (DefinitionReader::*)(const json::Value&);
  static constexpr std::pair<std::string_view, Read> kReads[] = {
      {"quantity", &DefinitionReader::quantity},      {"attribute", &DefinitionReader::attribute},
      {"descriptor", &DefinitionReader::descriptor},  {"handle", &DefinitionReader::handle},
      {"entity", &DefinitionReader::entity},          {"metric", &DefinitionReader::metric},
      {"table", &DefinitionReader::tableDescription},
  };
  for (const auto& [name, read] : kReads) {
    if (name != type) continue;
    (this->*read)(record);
    return true;
  }
  return false;
}

pwr::AttributeValueManager DefinitionReader::attributesOf(const JsonObject& record) const {
  const json::Value* const pairs = record.find("attributes");
  return pairs == nullptr ? pwr::AttributeValueManager() : table_.attributes(*pairs, "attributes");
}

// Each of these checks the whole record before it creates anything.

void DefinitionReader::quantity(const json::Value& value) {
  const JsonObject record(value, "quantity",
                          {"type", "id", "kind", "name", "units", "title", "rate", "rateFactor"});
  pwr::QuantityDescription description;
  description.type = record.named("kind", names::kQuantities);
  description.name = record.text("name");
  description.units = record.text("units");
  description.title = record.text("title");
  description.rate = table_.quantity(record, "rate");
  description.rateFactor = record.real("rateFactor", description.rateFactor);
  DefinitionTable::Definition& place = table_.add(record);
  place = pwr::createQuantity(std::move(description));
}

void DefinitionReader::attribute(const json::Value& value) {
  const JsonObject record(value, "attribute", {"type", "id", "name", "quantity", "values"});
  const std::string name = record.text("name");
  const pwr::Quantity* const quantity = table_.quantity(record, "quantity");
  const pwr::AttributeType type = record.named("values", names::kAttributeValues);
  DefinitionTable::Definition& place = table_.add(record);
  place = pwr::Attribute::create(name, quantity, type);
}

void DefinitionReader::descriptor(const json::Value& value) {
  const JsonObject record(value, "descriptor", {"type", "id", "name", "description", "attributes"});
  pwr::DataDescriptorBuilder builder(record.text("name"), record.text("description"));
  for (const auto& [attribute, data] : attributesOf(record)) {
    builder.addAttributeValue(attribute, data);
  }
  DefinitionTable::Definition& place = table_.add(record);
  place = pwr::DataDescriptor::create(builder);
}

void DefinitionReader::handle(const json::Value& value) {
  const JsonObject record(
      value, "handle",
      {"type", "id", "kind", "name", "header", "fieldName", "quantity", "attributes"});
  pwr::DataHandleDescription description;
  description.type = record.named("kind", names::kHandles);
  description.name = record.text("name");
  description.header = record.text("header");
  description.fieldName = record.text("fieldName");
  description.quantity = table_.quantity(record, "quantity");
  description.attributes = attributesOf(record);
  DefinitionTable::Definition& place = table_.add(record);
  place = pwr::createHandle(std::move(description));
}

void DefinitionReader::entity(const json::Value& value) {
  const JsonObject record(value, "entity", {"type", "id", "name", "level", "parent", "attributes"});
  pwr::EntityDescription description;
  description.name = record.text("name");
  description.level = record.text("level");
  const json::Value* const parent = record.find("parent");
  if (parent != nullptr) description.parent = table_.entity(*parent, "parent");
  checkDepth(description.parent);
  description.attributes = attributesOf(record);
  DefinitionTable::Definition& place = table_.add(record);
  place = pwr::createEntity(std::move(description));
}

std::shared_ptr<const pwr::Field> DefinitionReader::group(const JsonObject& record,
                                                          std::string_view member) const {
  const json::Value* const value = record.find(member);
  if (value == nullptr) return nullptr;
  const JsonObject group(*value, member, {"name", "attributes"});
  pwr::ExpectedAttributeManager expected;
  group.forEach("attributes", [&](const json::Value& id) {
    expected.addAttribute(table_.attribute(id, "attributes"));
  });
  return std::make_shared<const pwr::Field>(group.text("name"), std::move(expected));
}

void DefinitionReader::metric(const json::Value& value) {
  const JsonObject record(
      value, "metric",
      {"type", "id", "container", "name", "feature", "kind", "legacy", "quantity", "combinations",
       "entityGroup", "descriptorGroup", "valueGroup", "finiteSet", "traceEntityAttributes"});
  pwr::MetricDescription description;
  description.containerId = record.integer<unsigned int>("container");
  description.name = record.text("name");
  description.featureTag = record.text("feature");
  description.type = record.named("kind", names::kMetrics);
  description.legacyType = record.named("legacy", names::kLegacyTables);
  description.quantity = table_.quantity(record, "quantity");
  record.forEach("combinations", [&](const json::Value& item) {
    const json::Value::ConstArray pair = json::array(item, "combinations", 2);
    pwr::Metric::EntityDescCombo& combination = description.combinations.emplace_back();
    if (!pair[0].IsNull()) combination.entity = table_.entity(pair[0], "combinations");
    if (!pair[1].IsNull()) combination.descriptor = table_.descriptor(pair[1], "combinations");
  });
  description.entityGroup = group(record, "entityGroup");
  description.descriptorGroup = group(record, "descriptorGroup");
  description.valueGroup = group(record, "valueGroup");
  record.forEach("finiteSet", [&](const json::Value& item) {
    description.finiteSet.push_back(table_.data(item, "finiteSet"));
  });
  description.traceSampleEntityAttributes = record.flag("traceEntityAttributes");
  DefinitionTable::Definition& place = table_.add(record);
  place = std::make_unique<pwr::Metric>(pwr::createMetric(std::move(description)));
}

void DefinitionReader::tableDescription(const json::Value& value) {
  const JsonObject record(value, "table",
                          {"type", "id", "container", "number", "class", "title", "quantity",
                           "shared", "entities", "handles", "fieldHeaders", "notes"});
  pwr::TableDescription description;
  description.containerId = record.integer<unsigned int>("container");
  description.tableId = record.integer<unsigned int>("number");
  description.tableClass = record.named("class", names::kTables);
  description.title = record.text("title");
  description.quantity = table_.quantity(record, "quantity");
  record.forEach("shared", [&](const json::Value& id) {
    description.sharedHandles.push_back(table_.handle(id, "shared"));
  });
  record.forEach("entities", [&](const json::Value& id) {
    description.entities.push_back(table_.entity(id, "entities"));
  });
  record.forEach("handles", [&](const json::Value& id) {
    description.handles.push_back(table_.handle(id, "handles"));
  });
  description.fieldHeaders = record.flag("fieldHeaders");
  description.notes = readNotes(record);
  DefinitionTable::Definition& place = table_.add(record);
  place = std::make_shared<const pwr::TableDescription>(std::move(description));
}

}  // namespace tavrin
