#include "writers/text/AutoWriter.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "writers/common/TextLog.h"
#include "writers/host/PluginCapability.h"

namespace {

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

/// Counts of samples and of entries, which are not recorded.
bool isIgnored(const std::string& title) {
  const char* const ignored[] = {
      "Summary: Total Samples Received",
      "Summary: Counts",
      "Summary: Entry Counts",
      "Summary - Sampled: Total Samples Received",
  };
  return std::ranges::any_of(ignored, [&](const char* part) { return contains(title, part); });
}

/// How many leading columns of a table make up the key of a row; the first rule that fits decides.
std::ptrdiff_t keyColumnsOf(const std::string& title, std::ptrdiff_t columns) {
  const struct {
    const char* part;
    std::ptrdiff_t keyColumns;
  } rules[] = {
      {"ACPI D-State Summary: Residency (Percentage and Time)", 4},
      {"ACPI F-State Summary: Residency (Percentage and Time)", 4},
      {"Summary: Average Rate and Total", columns - 2},
      {"Summary: Total", columns - 1},
  };
  for (const auto& rule : rules) {
    if (contains(title, rule.part)) return rule.keyColumns;
  }
  return 1;
}

void appendWord(std::string& text, const std::string& word) {
  if (!text.empty() && !word.empty()) text += ' ';
  text += word;
}

}  // namespace

AutoWriter::AutoWriter()
    : RunWriter("894d2fa0-61c8-11e7-9598-0800200c9a66",
                new pwr::WriterPluginCapability(
                    {}, "auto", "Write summary data as single line to file Automation_Summary.csv",
                    ".csv", false, {AutomationLine::kFileName}),
                kPlainLog,
                [timeScale = TimeScale()](const std::string& baseName, bool /*continuous*/) {
                  return std::make_unique<AutomationLine>(baseName, timeScale);
                }) {}

AutoWriter::~AutoWriter() = default;

int AutoWriter::writeMessage(const pwr::MetricContainerInfoMessage& message) {
  if (!isOpenFor("a metric container")) return 1;
  const pwr::TableMessage* const table = message.getTable();
  return table == nullptr ? 0 : writeMessage(*table);
}

int AutoWriter::writeMessage(const pwr::TableMessage& table) {
  if (!isOpenFor("a table")) return 1;
  if (selectFrom_i(table) == 0) return 0;
  PW_LOG(kPlainLog, PW_LOG_INFO, "INFO: Error in TableMessage %s\n", table.getTitle().c_str());
  return 1;
}

/// Returns 1 when the table has fewer columns than its row keys need.
int AutoWriter::selectFrom_i(const pwr::TableMessage& table) {
  if (isIgnored(table.getTitle())) return 0;
  PW_LOG(kPlainLog, PW_LOG_DEBUG, "DEBUG: AutoWriter::writeMessage(%s)\n",
         table.getTitle().c_str());
  std::deque<std::string> titles;
  getColumnTitles(table, titles);
  if (table.getTableMessageType() != pwr::TableMessageType::Row) return 0;

  const std::deque<std::string> values = valuesOf_i(table);
  const auto columns = static_cast<std::ptrdiff_t>(titles.size());
  const std::ptrdiff_t keyColumns = keyColumnsOf(table.getTitle(), columns);
  if (keyColumns < 1) return 0;
  if (keyColumns > columns) return 1;

  const auto firstValue = static_cast<std::size_t>(keyColumns);
  std::string key;
  for (std::size_t i = 0; i < firstValue; ++i) {
    if (i > 0) key += "_";
    key += titles[i].empty() ? values[i] : titles[i] + "_" + values[i];
  }
  for (std::size_t i = firstValue; i < titles.size(); ++i) {
    if (titles[i].starts_with("Total_")) continue;
    const std::string name = key + "_" + titles[i];
    PW_LOG(kPlainLog, PW_LOG_DEBUG, "DEBUG:  \t column = (%s)\n", name.c_str());
    run().addColumn(name, values[i]);
  }
  return 0;
}

std::deque<std::string> AutoWriter::valuesOf_i(const pwr::TableMessage& table) {
  std::deque<std::string> values;
  getRowValues(table, values);
  auto value = values.begin();
  // The titles of times say "ms".
  table.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    run().timeScale().scaleCell(table, entity, handle, *value);
    PW_LOG(kPlainLog, PW_LOG_DEBUG, "DEBUG:  \t value = (%s)\n", value->c_str());
    ++value;
  });
  return values;
}

void AutoWriter::getColumnTitles(const pwr::TableMessage& table,
                                 std::deque<std::string>& titles) const {
  table.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    std::string title;
    if (entity != nullptr) appendWord(title, entity->getName());
    if (table.hasFieldHeaders()) appendWord(title, handle->getHeader());
    appendWord(title, handle->getFieldName());
    titles.push_back(std::move(title));
  });
}
