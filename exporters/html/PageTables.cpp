#include "exporters/html/PageTables.h"

#include "exporters/html/PageJson.h"
#include "exporters/html/PageText.h"

namespace {

/// What the report has in the place of a number that is not known.
constexpr std::string_view kNotAvailable = "n/a";

constexpr std::size_t kMostNote = 1000;

/// What the names of its members take in the document, of a table and of one column.
constexpr std::size_t kTableFrame = 64;
constexpr std::size_t kColumnFrame = 28;

/// What a text takes in the document.
std::size_t bytesOf(std::string_view text) {
  return withoutMarkup(quotedJson(text)).size() + 1;
}

std::string columnName(const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
  std::string field = handle == nullptr ? "" : pageText(handle->getFieldName());
  if (entity == nullptr || entity->getName().empty()) return field;
  return pageText(entity->getName()) + " " + field;
}

std::vector<std::string> notesOf(const pwr::TextNotes* notes) {
  std::vector<std::string> lines;
  std::vector<std::string> shown;
  if (notes == nullptr) return shown;
  if (notes->getPreTableNotes(lines)) shown = lines;
  if (notes->getPostTableNotes(lines)) shown.insert(shown.end(), lines.begin(), lines.end());
  for (std::string& line : shown) line = pageText(line, kMostNote);
  return shown;
}

}  // namespace

void PageTables::add(const pwr::MetricContainerInfoMessage& container) {
  features_[container.getContainerId()] = pageText(container.getFeatureName());
  if (container.getTable() != nullptr) add(*container.getTable());
}

void PageTables::add(const pwr::TableMessage& message) {
  Table* const table = tableOf(message);
  if (table == nullptr || message.getTableMessageType() != pwr::TableMessageType::Row) return;
  if (bytes_ >= mostBytes_ || table->rows.size() >= mostBytes_ / 4) {
    ++table->leftOut;
  } else {
    addRow(*table, message);
  }
}

/// Null for a table that there is no room for.
PageTables::Table* PageTables::tableOf(const pwr::TableMessage& message) {
  const std::pair key{message.getContainerId(), message.getTableId()};
  if (const auto known = places_.find(key); known != places_.end()) {
    return known->second < tables_.size() ? &tables_[known->second] : nullptr;
  }
  Table table{.feature = features_[message.getContainerId()],
              .title = pageText(message.getTitle()),
              .notes = notesOf(message.getTextNotes())};
  std::size_t bytes = kTableFrame + bytesOf(table.feature) + bytesOf(table.title);
  message.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    if (bytes_ + bytes >= mostBytes_) return;
    table.columns.push_back({.name = columnName(entity, handle)});
    bytes += kColumnFrame + bytesOf(table.columns.back().name);
  });
  for (const std::string& note : table.notes) bytes += bytesOf(note);
  if (bytes_ + bytes >= mostBytes_) {
    places_.emplace(key, ~std::size_t{0});
    ++tablesLeftOut_;
    return nullptr;
  }
  bytes_ += bytes;
  places_.emplace(key, tables_.size());
  return &tables_.emplace_back(std::move(table));
}

void PageTables::addRow(Table& table, const pwr::TableMessage& message) {
  std::string row;
  std::size_t place = 0;
  message.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    if (place >= table.columns.size()) return;
    if (place > 0) row += ",";
    row += cellText(handle, message.getField(entity, handle), table.columns[place++]);
  });
  row = withoutMarkup(row) + "]";
  table.rows += (table.rows.empty() ? "[" : ",[") + row;
  bytes_ += row.size() + 2;
}

/// A number, a text, or "null".
std::string PageTables::cellText(const pwr::DataHandle* handle, const pwr::Data* cell,
                                 Column& column) const {
  pwr::Data value = cell == nullptr ? pwr::Data() : *cell;
  if (handle != nullptr) value = scale_.shown(handle, value);
  double number = 0.0;
  if (value.toReal(number) == 0) {
    column.hasNumbers = true;
    return jsonNumber(number);
  }
  std::string text;
  if (value.toFormattedString(text) != 0) return "null";
  column.hasTexts = column.hasTexts || text != kNotAvailable;
  return quotedJson(pageText(text));
}

std::size_t PageTables::rowsLeftOut() const {
  std::size_t rows = 0;
  for (const Table& table : tables_) rows += table.leftOut;
  return rows;
}
