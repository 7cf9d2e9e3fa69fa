#include "writers/text/AutoWriter.h"

#include <algorithm>
#include <locale>
#include <sstream>
#include <utility>

#include "hostcommon/Utf8Text.h"
#include "writers/common/CsvText.h"
#include "writers/common/TextLog.h"
#include "writers/host/PluginCapability.h"
#include "writers/text/AutomationFile.h"

namespace {

constexpr const char* kFileName = "Automation_Summary.csv";

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

/// Six significant digits, whatever the locale.
std::string durationText(double seconds) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << seconds;
  return text.str();
}

std::string lineOf(const std::vector<std::string>& cells) {
  std::string line;
  for (const std::string& cell : cells) line += csvText(cell) + ",";
  return line;
}

/// Everything up to the last separator of folders. The slash and the backslash count on every
/// system.
std::string directoryPartOf(const std::string& baseName) {
  const std::size_t separator = baseName.find_last_of("/\\");
  return separator == std::string::npos ? std::string() : baseName.substr(0, separator + 1);
}

}  // namespace

AutoWriter::AutoWriter() : WriterPlugin("894d2fa0-61c8-11e7-9598-0800200c9a66") {
  addCapability(new pwr::WriterPluginCapability(
      {}, "auto", "Write summary data as single line to file Automation_Summary.csv", ".csv", false,
      {kFileName}));
}

AutoWriter::~AutoWriter() = default;

int AutoWriter::openOutput(const std::string& baseName, bool /*continuous*/) {
  baseName_ = baseName;
  addColumn("Output_Name", pwr::validUtf8(baseName));
  return 0;
}

int AutoWriter::closeOutput() {
  // The lines of other runs stand in that file: one that lacks something is not put among them.
  if (g_pluginEnvironment->isRunIncomplete()) return 1;
  if (metadata_ != nullptr) {
    columnValues_[metadataColumn_] = metadata_->getCollectionStartTime();
    columnValues_[metadataColumn_ + 1] = durationText(metadata_->getCollectionDurationSec());
  }
  const AutomationFile file(directoryPartOf(baseName_) + kFileName);
  return file.add(lineOf(columnNames_), lineOf(columnValues_));
}

int AutoWriter::writeMessage(const pwr::SystemMessage& message) {
  timeScale_.setTicksPerMicrosecond(message.getSystemMetadata()->getTscFrequencyMHz());
  if (metadata_ == nullptr) {
    // The values come at the end: a live collection does not know its duration before.
    metadataColumn_ = columnNames_.size();
    addColumn("Collection_Time", "");
    addColumn("Duration (sec)", "");
  }
  metadata_ = message.getSystemMetadata();
  return 0;
}

int AutoWriter::writeMessage(const pwr::MetricContainerInfoMessage& message) {
  const pwr::TableMessage* const table = message.getTable();
  return table == nullptr ? 0 : writeMessage(*table);
}

int AutoWriter::writeMessage(const pwr::TableMessage& table) {
  if (selectFrom(table) == 0) return 0;
  PW_LOG(kPlainLog, PW_LOG_INFO, "INFO: Error in TableMessage %s\n", table.getTitle().c_str());
  return 1;
}

/// Returns 1 when the table has fewer columns than its row keys need.
int AutoWriter::selectFrom(const pwr::TableMessage& table) {
  if (isIgnored(table.getTitle())) return 0;
  PW_LOG(kPlainLog, PW_LOG_DEBUG, "DEBUG: AutoWriter::writeMessage(%s)\n",
         table.getTitle().c_str());
  columnTitles_.clear();
  getColumnTitles(table, columnTitles_);
  if (table.getTableMessageType() != pwr::TableMessageType::Row) return 0;

  const std::deque<std::string> values = valuesOf(table);
  const auto columns = static_cast<std::ptrdiff_t>(columnTitles_.size());
  const std::ptrdiff_t keyColumns = keyColumnsOf(table.getTitle(), columns);
  if (keyColumns < 1) return 0;
  if (keyColumns > columns) return 1;

  const auto firstValue = static_cast<std::size_t>(keyColumns);
  std::string key;
  for (std::size_t i = 0; i < firstValue; ++i) {
    if (i > 0) key += "_";
    key += columnTitles_[i].empty() ? values[i] : columnTitles_[i] + "_" + values[i];
  }
  for (std::size_t i = firstValue; i < columnTitles_.size(); ++i) {
    if (columnTitles_[i].starts_with("Total_")) continue;
    const std::string name = key + "_" + columnTitles_[i];
    PW_LOG(kPlainLog, PW_LOG_DEBUG, "DEBUG:  \t column = (%s)\n", name.c_str());
    addColumn(name, values[i]);
  }
  return 0;
}

std::deque<std::string> AutoWriter::valuesOf(const pwr::TableMessage& table) const {
  std::deque<std::string> values;
  getRowValues(table, values);
  auto value = values.begin();
  // The titles of times say "ms".
  table.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    timeScale_.scaleCell(table, entity, handle, *value);
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

void AutoWriter::addColumn(const std::string& name, const std::string& value) {
  columnNames_.push_back(name);
  columnValues_.push_back(value);
}
