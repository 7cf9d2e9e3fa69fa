#include "tavrin/stream/DefinitionWriter.h"

#include <algorithm>
#include <cmath>

#include "writers/host/Attribute.h"
#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/Quantity.h"

namespace tavrin {

namespace {

constexpr unsigned long long kNotedMetric = ~0ULL;

}  // namespace

void DefinitionWriter::need(const pwr::Quantity* quantity) {
  if (quantity == nullptr || quantity == pwr::Quantity::time() || !ids_.note(*quantity)) return;
  pending_.emplace_back(quantity);
}

void DefinitionWriter::need(const pwr::DataHandle* handle) {
  if (handle != nullptr && ids_.note(*handle)) pending_.emplace_back(handle);
}

void DefinitionWriter::need(const pwr::EntityHandle* entity) {
  if (entity != nullptr && ids_.note(*entity)) pending_.emplace_back(entity);
}

void DefinitionWriter::needParts(const pwr::Quantity& quantity) {
  const pwr::Quantity* rate = nullptr;
  double factor = 0.0;
  if (quantity.getRateConversion(rate, factor) == 0) need(rate);
}

void DefinitionWriter::needParts(const pwr::DataHandle& handle) {
  need(handle.getQuantity());
  need(handle.getAttributes());
}

void DefinitionWriter::needParts(const pwr::EntityHandle& entity) {
  need(entity.getParent());
  need(entity.getAttributes());
}

void DefinitionWriter::need(const pwr::Data& value) {
  const pwr::DataHandle* handle = nullptr;
  if (value.toHandle(handle) == 0) need(handle);
}

void DefinitionWriter::need(const pwr::AttributeValueManager& attributes) {
  for (const auto& [attribute, value] : attributes) {
    need(attribute);
    need(value);
  }
}

void DefinitionWriter::needGroup(const pwr::Field* group) {
  if (group == nullptr) return;
  for (const pwr::Attribute* attribute : group->getExpectedAttributes()) need(attribute);
}

void DefinitionWriter::need(const pwr::MetricDescription* metric) {
  if (metric->id >= metricIds_.size()) metricIds_.resize(metric->id + 1);
  if (metricIds_[metric->id] != 0) return;
  metricIds_[metric->id] = kNotedMetric;
  pendingMetrics_.push_back(metric);
  need(metric->quantity);
  for (const pwr::Metric::EntityDescCombo& combination : metric->combinations) {
    need(combination.entity);
    need(combination.descriptor);
  }
  needGroup(metric->entityGroup.get());
  needGroup(metric->descriptorGroup.get());
  needGroup(metric->valueGroup.get());
  for (const pwr::Data& value : metric->finiteSet) need(value);
}

void DefinitionWriter::need(const pwr::TableDescription& table) {
  need(table.quantity);
  for (const pwr::DataHandle* handle : table.sharedHandles) need(handle);
  for (const pwr::EntityHandle* entity : table.entities) need(entity);
  for (const pwr::DataHandle* handle : table.handles) need(handle);
}

void DefinitionWriter::write() {
  if (pending_.empty() && pendingMetrics_.empty()) return;
  // The parts, and theirs, are appended meanwhile.
  std::size_t next = 0;
  while (next < pending_.size()) {
    const Pending pending = pending_[next++];
    std::visit([this](const auto* description) { needParts(*description); }, pending);
  }
  std::ranges::sort(pending_, {}, [](const Pending& pending) {
    return std::visit([](const auto* description) { return description->getId(); }, pending);
  });
  for (const Pending& pending : pending_) {
    std::visit([this](const auto* description) { define(*description); }, pending);
  }
  pending_.clear();
  std::ranges::sort(pendingMetrics_, {}, &pwr::MetricDescription::id);
  for (const pwr::MetricDescription* metric : pendingMetrics_) define(*metric);
  pendingMetrics_.clear();
}

void DefinitionWriter::define(const pwr::Quantity& quantity) {
  records_.begin("quantity");
  records_.required("id", ids_.assign(quantity));
  records_.member("kind", quantity.toQuantity(), names::kQuantities);
  records_.member("name", quantity.toQuantityString());
  records_.member("units", quantity.toUnitsString());
  std::string title;
  quantity.toTitleString(title);
  if (title != quantity.toQuantityString()) records_.member("title", title);
  const pwr::Quantity* rate = nullptr;
  double factor = 1.0;
  if (quantity.getRateConversion(rate, factor) == 0) values_.reference("rate", rate);
  records_.member("rateFactor", factor, 1.0);
  records_.end();
}

void DefinitionWriter::define(const pwr::DataHandle& handle) {
  const auto* const attribute = dynamic_cast<const pwr::Attribute*>(&handle);
  const auto* const descriptor = dynamic_cast<const pwr::DataDescriptor*>(&handle);
  const bool plain = attribute == nullptr && descriptor == nullptr;
  records_.begin(plain ? "handle" : descriptor == nullptr ? "attribute" : "descriptor");
  records_.required("id", ids_.assign(handle));
  if (plain) records_.member("kind", handle.getHandleType(), names::kHandles);
  records_.member("name", handle.getName());
  if (descriptor != nullptr) records_.member("description", descriptor->getDescription());
  if (plain) {
    records_.member("header", handle.getHeader());
    records_.member("fieldName", handle.getFieldName());
  }
  values_.reference("quantity", handle.getQuantity());
  if (attribute != nullptr) {
    records_.member("values", attribute->getAttributeType(), names::kAttributeValues);
  }
  if (handle.getAttributes().getAttributeCount() > 0) {
    values_.attributes("attributes", handle.getAttributes());
  }
  records_.end();
}

void DefinitionWriter::define(const pwr::EntityHandle& entity) {
  records_.begin("entity");
  records_.required("id", ids_.assign(entity));
  records_.member("name", entity.getName());
  records_.member("level", entity.getLevel());
  values_.reference("parent", entity.getParent());
  if (entity.getAttributes().getAttributeCount() > 0) {
    values_.attributes("attributes", entity.getAttributes());
  }
  records_.end();
}

void DefinitionWriter::define(const pwr::MetricDescription& metric) {
  records_.begin("metric");
  records_.required("id", metricIds_[metric.id] = ids_.next());
  records_.member("container", metric.containerId);
  records_.member("name", metric.name);
  records_.member("feature", metric.featureTag);
  records_.member("kind", metric.type, names::kMetrics);
  records_.member("legacy", metric.legacyType, names::kLegacyTables);
  values_.reference("quantity", metric.quantity);
  records_.array("combinations", metric.combinations,
                 [this](const pwr::Metric::EntityDescCombo& combination) {
                   records_.beginArray();
                   values_.reference(combination.entity);
                   values_.reference(combination.descriptor);
                   records_.endArray();
                 });
  group("entityGroup", metric.entityGroup.get());
  group("descriptorGroup", metric.descriptorGroup.get());
  group("valueGroup", metric.valueGroup.get());
  records_.array("finiteSet", metric.finiteSet,
                 [this](const pwr::Data& value) { values_.data(value); });
  records_.member("traceEntityAttributes", metric.traceSampleEntityAttributes);
  records_.end();
}

void DefinitionWriter::group(std::string_view name, const pwr::Field* group) {
  if (group == nullptr) return;
  records_.key(name);
  records_.beginObject();
  records_.member("name", group->getName());
  records_.array("attributes", group->getExpectedAttributes(),
                 [this](const pwr::Attribute* attribute) { values_.reference(attribute); });
  records_.endObject();
}

unsigned long long DefinitionWriter::writeTable(const pwr::TableMessage& table) {
  records_.begin("table");
  const unsigned long long id = ids_.peek();
  records_.required("id", id);
  const std::size_t head = records_.soFar().size();
  describeTable(table);
  const auto [known, added] = tables_.try_emplace(std::string(records_.soFar().substr(head)), id);
  if (!added) return known->second;
  ids_.next();
  records_.end();
  return id;
}

void DefinitionWriter::describeTable(const pwr::TableMessage& table) {
  const auto writeReference = [this](const pwr::UniqueId* handle) { values_.reference(handle); };
  records_.member("container", table.getContainerId());
  records_.member("number", table.getTableId());
  records_.member("class", table.getTableClass(), names::kTables);
  records_.member("title", table.getTitle());
  values_.reference("quantity", table.getQuantity());
  records_.array("shared", table.getSharedHandles(), writeReference);
  records_.array("entities", table.getEntities(), writeReference);
  records_.array("handles", table.getHandles(), writeReference);
  records_.member("fieldHeaders", table.hasFieldHeaders());
  values_.notes(table.getTextNotes());
}

}  // namespace tavrin
