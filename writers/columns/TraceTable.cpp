#include "writers/columns/TraceTable.h"

#include "writers/host/Attribute.h"

TraceTable::TraceTable(const std::string& title, const std::string& placeholder,
                       const std::string& timeColumn)
    : store_(title, placeholder),
      numberColumn_(store_.addColumn("Sample #")),
      timeColumn_(store_.addColumn(timeColumn)) {}

void TraceTable::addDurationColumn() {
  durationColumn_ = store_.addColumn("Duration (ms)");
}

ColumnStore::Column TraceTable::addColumn(std::uint64_t id, const std::string& name) {
  const auto [place, isNew] = columnById_.try_emplace(id, ColumnStore::kNoColumn);
  if (isNew) place->second = store_.addColumn(name);
  return place->second;
}

ColumnStore::Column TraceTable::findColumn(std::uint64_t id) const {
  const auto found = columnById_.find(id);
  return found == columnById_.end() ? ColumnStore::kNoColumn : found->second;
}

void TraceTable::addConstantCells(const pwr::AttributeValueManager& attributes) {
  for (const auto& [attribute, value] : attributes) {
    const ColumnStore::Column column = addColumn(attribute->getId(), attribute->getFieldName());
    std::string text;
    if (value.toFormattedString(text) == 0) constantCells_.emplace_back(column, std::move(text));
  }
}
