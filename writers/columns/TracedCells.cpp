#include "writers/columns/TracedCells.h"

#include "writers/columns/TraceValue.h"
#include "writers/common/TextLog.h"
#include "writers/host/Attribute.h"

namespace {

// Where a traced table keeps its own two columns among those of attributes, whose ids are handed
// out in ascending order from 1.
constexpr std::uint64_t kDescriptorColumn = 0;
constexpr std::uint64_t kValueColumn = ~std::uint64_t{0};

const std::string& nameOf(const pwr::Field* group) {
  static const std::string none;
  return group == nullptr ? none : group->getName();
}

ColumnStore::Column addColumn(TraceTable& table, const pwr::DataHandle& attribute) {
  return table.addColumn(attribute.getId(), attribute.getFieldName());
}

}  // namespace

void TracedCells::addColumns(TraceTable& table, const pwr::Metric& metric,
                             const pwr::DataElement& element) {
  const pwr::Field* const values = metric.getValueGroupInfo();
  if (element.getDescriptor() != nullptr) {
    table.addColumn(kDescriptorColumn, nameOf(metric.getDescriptorGroupInfo()));
  }
  table.addColumn(kValueColumn,
                  nameOf(values) + traceUnitSuffix(TraceMode::Value, metric.getQuantity()));
  if (values != nullptr) {
    for (const pwr::Attribute* attribute : values->getExpectedAttributes()) {
      addColumn(table, *attribute);
    }
  }
  if (element.getEntity() != nullptr) table.addConstantCells(element.getEntity()->getAttributes());
  if (element.getAdditionalInfo() != nullptr) {
    for (const auto& [id, value] : *element.getAdditionalInfo()) {
      const pwr::DataHandle* attribute = nullptr;
      if (pwr::DataHandle::get(id, attribute) == 0) addColumn(table, *attribute);
    }
  }
  table.addDurationColumn();
}

void TracedCells::setCells(TraceTable& table, const pwr::Metric& metric,
                           const pwr::DataElement& element) {
  if (const pwr::DataDescriptor* const descriptor = element.getDescriptor()) {
    table.setCell(table.addColumn(kDescriptorColumn, nameOf(metric.getDescriptorGroupInfo())),
                  descriptor->getName());
  }
  if (element.getValue()->toFormattedString(text_) == 0) {
    table.setCell(table.findColumn(kValueColumn), text_);
  }
  if (element.getAttributes() != nullptr) {
    for (const auto& [attribute, value] : *element.getAttributes()) {
      if (value.toFormattedString(text_) == 0) table.setCell(addColumn(table, *attribute), text_);
    }
  }
  if (element.getAdditionalInfo() != nullptr) {
    for (const auto& [id, value] : *element.getAdditionalInfo()) setDynamicCell(table, id, value);
  }
}

void TracedCells::setDynamicCell(TraceTable& table, std::uint64_t id, const pwr::Data& value) {
  const pwr::DataHandle* attribute = nullptr;
  if (pwr::DataHandle::get(id, attribute) != 0) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Failed to get handle for dynamic attribute\n");
    return;
  }
  const ColumnStore::Column column = addColumn(table, *attribute);
  if (formatDynamic(*attribute, value)) table.setCell(column, text_);
}

bool TracedCells::formatDynamic(const pwr::DataHandle& attribute, const pwr::Data& value) {
  if (value.getType() == pwr::DataType::Handle) {
    const pwr::DataHandle* named = nullptr;
    if (value.toHandle(named) != 0 || named == nullptr) {
      PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Failed to retrieve name for dynamic attribute");
      return false;
    }
    text_ = named->getName();
    return true;
  }
  if (value.toFormattedString(text_) == 0) return true;
  const auto* const typed = dynamic_cast<const pwr::Attribute*>(&attribute);
  const bool isInfo = typed != nullptr && typed->getAttributeType() == pwr::AttributeType::Info;
  PW_LOG(kTextLog, PW_LOG_WARNING, "%s",
         isInfo ? "WARNING: Failed to process info attribute\n"
                : "WARNING: Failed to process dynamic attribute\n");
  return false;
}
