#include "writers/text/SummaryWriter.h"

#include <utility>

#include "writers/common/TextLog.h"
#include "writers/host/PluginCapability.h"

namespace {

std::size_t cellsPerRow(const pwr::TableMessage& table) {
  const std::size_t groups = table.getEntityCount() == 0 ? 1 : table.getEntityCount();
  return groups * static_cast<std::size_t>(table.getHandleCount()) +
         static_cast<std::size_t>(table.getSharedHandleCount());
}

TextOutputManager::TableKey keyOf(const pwr::TableMessage& table) {
  return TextOutputManager::tableKey(table.getContainerId(), table.getTableId());
}

}  // namespace

SummaryWriter::SummaryWriter() : TextWriter("108d88ba-5ee4-11e4-aa15-123b93f75cba", ".csv", ", ") {
  addCapability(new pwr::WriterPluginCapability(
      {pwr::TableClass::Summary}, "sum",
      "Write summary reports for all collected metrics to CSV file [default]", ".csv", false));
}

SummaryWriter::~SummaryWriter() = default;

int SummaryWriter::openOutput(const std::string& baseName, bool continuous) {
  console_ = baseName == "console";
  return TextWriter::openOutput(baseName, continuous);
}

int SummaryWriter::closeOutput() {
  outputs().setOrder(std::exchange(arrivalOrder_, {}), std::exchange(metricOrder_, {}));
  arrived_.clear();
  return TextWriter::closeOutput();
}

bool SummaryWriter::noteArrival(unsigned int container) {
  const bool isNew = arrived_.insert(container).second;
  if (isNew) arrivalOrder_.push_back(container);
  return isNew;
}

int SummaryWriter::writeMessage(const pwr::MetricContainerInfoMessage& message) {
  const unsigned int container = message.getContainerId();
  if (const pwr::TextNotes* const notes = message.getTextNotes()) {
    outputs().setContainerNotes(container, *notes);
  }
  if (!message.getHeading().empty()) outputs().setHeading(container, message.getHeading());
  if (!message.getFeatureName().empty() && !message.getMetricName().empty()) {
    metricOrder_[message.getFeatureName()][message.getMetricName()] = container;
  }
  const pwr::TableMessage* const table = message.getTable();
  if (table == nullptr) return 0;
  noteArrival(container);
  // As a rule the same container; a table that names another one must not be lost.
  noteArrival(table->getContainerId());
  return writeTable(*table, outputs().stageDescription(keyOf(*table), cellsPerRow(*table)));
}

int SummaryWriter::writeMessage(const pwr::TextMessage& message) {
  const bool isHeader = dynamic_cast<const pwr::HeaderTextMessage*>(&message) != nullptr &&
                        message.getKind() == pwr::TextMessageKind::Header;
  const auto [output, created] = outputs().stageText(isHeader ? TextOutputManager::kHeaderText
                                                              : TextOutputManager::kOtherText);
  if (output == nullptr) return 1;
  if (created && console_) output->echoOnConsole();
  output->append(message.getMessage());
  return outputs().checkStaging(*output);
}

int SummaryWriter::writeMessage(const pwr::TableMessage& table) {
  if (table.getTableClass() != pwr::TableClass::Summary) {
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Skipping a non-summary table %s in summary text writer\n",
           table.getTitle().c_str());
    return 0;
  }
  if (noteArrival(table.getContainerId()) && table.getContainerId() == 0) {
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Metric Container Id not set for TableMessage?\n");
  }
  return writeTable(table, outputs().stageTable(keyOf(table), cellsPerRow(table)));
}

int SummaryWriter::writeTable(const pwr::TableMessage& table,
                              const TextOutputManager::Staged& staged) {
  if (staged.output == nullptr) return 1;
  if (staged.created) {
    writeDefinition(table, *staged.output);
  } else if (staged.output->getCellsPerRow() != cellsPerRow(table)) {
    // Its cells would shift every row behind it.
    PW_LOG(kPlainLog, PW_LOG_WARNING,
           "WARNING: Skipping a row of %zu cells for the table %s, which has %zu columns\n",
           cellsPerRow(table), table.getTitle().c_str(), staged.output->getCellsPerRow());
    return 1;
  }
  if (table.getTableMessageType() != pwr::TableMessageType::Definition) {
    writeRow(table, *staged.output);
  }
  return outputs().checkStaging(*staged.output);
}

void SummaryWriter::writeDefinition(const pwr::TableMessage& table, TempTableOutput& output) {
  output.setTitle(titleOf(table));
  if (console_) output.echoOnConsole();
  if (table.hasFieldHeaders()) {
    table.forEachCell([&](const pwr::EntityHandle*, const pwr::DataHandle* handle) {
      output.appendText(handle->getHeader());
    });
  }
  table.forEachCell([&](const pwr::EntityHandle*, const pwr::DataHandle* handle) {
    output.appendText(handle->getFieldName().empty() ? "-" : handle->getFieldName());
  });
  if (const pwr::TextNotes* const notes = table.getTextNotes()) {
    outputs().setTableNotes(keyOf(table), *notes);
  }
}

void SummaryWriter::writeRow(const pwr::TableMessage& table, TempTableOutput& output) {
  std::string text;
  table.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    bool isNumeric = false;
    const int status = entity == nullptr ? table.getFieldAsString(handle, text, isNumeric)
                                         : table.getFieldAsString(entity, handle, text, isNumeric);
    if (status != 0) {
      output.append("Invalid");
      return;
    }
    if (!isNumeric) {
      output.appendText(text);
      return;
    }
    outputs().timeScale().scaleCell(table, entity, handle, text);
    output.append(text);
  });
}

std::string SummaryWriter::titleOf(const pwr::TableMessage& table) const {
  static constexpr const char* kPrefix = " (units = ";
  static constexpr const char* kSuffix = ")";
  std::string units;
  if (!pwr::TableMessage::quantityToUnits(table.getQuantity(), units, kPrefix, kSuffix)) {
    return table.getTitle();
  }
  // The quantity's own unit is ticks, which is not what the cells show.
  if (outputs().timeScale().appliesTo(table.getQuantity()))
    units = std::string(kPrefix) + "ms" + kSuffix;
  return table.getTitle() + units;
}
