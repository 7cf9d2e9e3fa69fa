#include "writers/columns/TracedCells.h"

#include "writers/columns/TraceValue.h"
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
  if (element.getAdditionalInfo() == nullptr) return;
  for (const auto& [id, value] : *element.getAdditionalInfo()) {
    const pwr::DataHandle* attribute = nullptr;
    const char* const problem =
        formatDynamic(attribute, text_, id, value, &pwr::Data::toFormattedString);
    if (attribute == nullptr) {
      run_.tell(problem, metric, element.getEntity());
      continue;
    }
    // It has its column, whatever the value.
    const ColumnStore::Column column = addColumn(table, *attribute);
    if (problem == nullptr) {
      table.setCell(column, text_);
    } else {
      run_.tell(problem, metric, element.getEntity());
    }
  }
}
