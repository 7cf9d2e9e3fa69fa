#include "exporters/sqlite/SummaryTables.h"

#include <string>
#include <vector>

#include "writers/host/Quantity.h"

namespace sqlite {

namespace {

using GetNotes = bool (pwr::TextNotes::*)(std::vector<std::string>&) const;

std::optional<std::string> notesText(const pwr::TextNotes* notes, GetNotes get) {
  std::vector<std::string> lines;
  if (notes == nullptr || !(notes->*get)(lines)) return std::nullopt;
  std::string text;
  for (const std::string& line : lines) {
    if (&line != &lines.front()) text += '\n';
    text += line;
  }
  return text;
}

std::optional<std::string> above(const pwr::TextNotes* notes) {
  return notesText(notes, &pwr::TextNotes::getPreTableNotes);
}

std::optional<std::string> below(const pwr::TextNotes* notes) {
  return notesText(notes, &pwr::TextNotes::getPostTableNotes);
}

}  // namespace

SummaryTables::SummaryTables(Database& database)
    : database_(database), cells_(database, "INSERT INTO summary_cell VALUES (?,?,?,?)") {}

void SummaryTables::add(const pwr::MetricContainerInfoMessage& container) {
  containers_[container.getContainerId()] = container.getDescription();
}

void SummaryTables::add(const pwr::TableMessage& table) {
  Table& known = find(table);
  if (table.getTableMessageType() == pwr::TableMessageType::Definition) return;
  ++known.rows;
  addRow(table, known);
}

SummaryTables::Table& SummaryTables::find(const pwr::TableMessage& table) {
  const auto [place, isNew] = tables_.try_emplace({table.getContainerId(), table.getTableId()});
  if (isNew) {
    place->second.number = static_cast<std::int64_t>(tables_.size());
    describe(table, place->second.number);
  }
  return place->second;
}

void SummaryTables::describe(const pwr::TableMessage& table, std::int64_t number) {
  const pwr::TextNotes* const notes = table.getTextNotes();
  const auto containerId = table.getContainerId();
  Insertion tables(database_, "INSERT INTO summary_table VALUES (?,?,?,?,?,?)");
  tables.add(number, containerId == 0 ? std::nullopt : std::optional(containerId), table.getTitle(),
             textOrNull(pwr::shownUnits(table.getQuantity())), above(notes), below(notes));
  Insertion columns(database_, "INSERT INTO summary_column VALUES (?,?,?,?)");
  std::int64_t position = 0;
  table.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    columns.add(number, ++position, handle->getFieldName(),
                entity == nullptr ? std::nullopt : std::optional(entity->getName()));
  });
}

/// The cells of a row that has more of them than its table stand behind the last column.
void SummaryTables::addRow(const pwr::TableMessage& table, const Table& known) {
  std::vector<const pwr::DataHandle*> handles;
  table.forEachCell([&](const pwr::EntityHandle* /*entity*/, const pwr::DataHandle* handle) {
    handles.push_back(handle);
  });
  std::size_t position = 0;
  for (const pwr::Data& cell : table.getCells()) {
    const bool hasColumn = position < handles.size();
    const pwr::Data shown = hasColumn ? scale_.shown(handles[position], cell) : cell;
    cells_.add(known.number, known.rows, ++position, shown);
  }
}

void SummaryTables::write() {
  Insertion containers(database_, "INSERT INTO container VALUES (?,?,?,?,?,?)");
  for (const auto& [id, container] : containers_) {
    const pwr::TextNotes* const notes = container.notes.get();
    containers.add(id, textOrNull(container.featureName), textOrNull(container.metricName),
                   textOrNull(container.heading), above(notes), below(notes));
  }
}

}  // namespace sqlite
