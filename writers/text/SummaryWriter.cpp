#include "writers/text/SummaryWriter.h"

#include <memory>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

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

/// One report in the making.
class SummaryRun : public TextRun {
 public:
  /// `console`: also print the report on standard output.
  SummaryRun(const TimeScale& timeScale, bool console)
      : TextRun(".csv", ", ", timeScale), console_(console) {}

  int close() override;

  int write(const pwr::MetricContainerInfoMessage& message) override;
  int write(const pwr::TextMessage& message) override;
  int write(const pwr::TableMessage& table) override;

 private:
  bool noteArrival_i(unsigned int container);
  int writeTable_i(const pwr::TableMessage& table, const TextOutputManager::Staged& staged);
  void writeDefinition_i(const pwr::TableMessage& table, TempTableOutput& output);
  void writeRow_i(const pwr::TableMessage& table, TempTableOutput& output) const;
  std::string titleOf_i(const pwr::TableMessage& table) const;

  const bool console_;
  std::vector<TextOutputManager::ContainerId> arrivalOrder_;
  std::unordered_set<TextOutputManager::ContainerId> arrived_;
  TextOutputManager::MetricOrderMap metricOrder_;
  ToldProblems told_;
};

int SummaryRun::close() {
  outputs().setOrder(std::move(arrivalOrder_), std::move(metricOrder_));
  return TextRun::close();
}

/// Whether nothing of the container had arrived before.
bool SummaryRun::noteArrival_i(unsigned int container) {
  const bool isNew = arrived_.insert(container).second;
  if (isNew) arrivalOrder_.push_back(container);
  return isNew;
}

int SummaryRun::write(const pwr::MetricContainerInfoMessage& message) {
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
  noteArrival_i(container);
  // As a rule the same container; a table that names another one must not be lost.
  noteArrival_i(table->getContainerId());
  return writeTable_i(*table, outputs().stageDescription(keyOf(*table), cellsPerRow(*table)));
}

int SummaryRun::write(const pwr::TextMessage& message) {
  const bool isHeader = dynamic_cast<const pwr::HeaderTextMessage*>(&message) != nullptr &&
                        message.getKind() == pwr::TextMessageKind::Header;
  const auto [output, created] = outputs().stageText(isHeader ? TextOutputManager::kHeaderText
                                                              : TextOutputManager::kOtherText);
  if (output == nullptr) return 1;
  if (created && console_) output->echoOnConsole();
  output->append(message.getMessage());
  return outputs().checkStaging(*output);
}

int SummaryRun::write(const pwr::TableMessage& table) {
  if (table.getTableClass() != pwr::TableClass::Summary) {
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Skipping a non-summary table %s in summary text writer\n",
           table.getTitle().c_str());
    return 0;
  }
  if (noteArrival_i(table.getContainerId()) && table.getContainerId() == 0) {
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Metric Container Id not set for TableMessage?\n");
  }
  return writeTable_i(table, outputs().stageTable(keyOf(table), cellsPerRow(table)));
}

int SummaryRun::writeTable_i(const pwr::TableMessage& table,
                             const TextOutputManager::Staged& staged) {
  if (staged.output == nullptr) return 1;
  if (staged.created) {
    writeDefinition_i(table, *staged.output);
  } else if (staged.output->getCellsPerRow() != cellsPerRow(table)) {
    // Its cells would shift every row behind it.
    static constexpr const char* kSkipped =
        "WARNING: Skipping a row of %zu cells for the table %s, which has %zu columns\n";
    const PWLogLevel level = told_.levelOf(kSkipped, 0, staged.output);
    PW_LOG(kPlainLog, level, kSkipped, cellsPerRow(table), table.getTitle().c_str(),
           staged.output->getCellsPerRow());
    return 1;
  }
  if (table.getTableMessageType() != pwr::TableMessageType::Definition) {
    writeRow_i(table, *staged.output);
  }
  return outputs().checkStaging(*staged.output);
}

void SummaryRun::writeDefinition_i(const pwr::TableMessage& table, TempTableOutput& output) {
  output.setTitle(titleOf_i(table));
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

void SummaryRun::writeRow_i(const pwr::TableMessage& table, TempTableOutput& output) const {
  std::string text;
  table.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    bool isNumeric = false;
    if (table.getFieldAsString(entity, handle, text, isNumeric) != 0) {
      output.append("Invalid");
      return;
    }
    timeScale().scaleCell(table, entity, handle, text);
    if (isNumeric) {
      output.append(text);
    } else {
      output.appendText(text);
    }
  });
}

std::string SummaryRun::titleOf_i(const pwr::TableMessage& table) const {
  static constexpr const char* kPrefix = " (units = ";
  static constexpr const char* kSuffix = ")";
  const pwr::Quantity* const quantity = table.getQuantity();
  std::string units;
  if (!pwr::TableMessage::quantityToUnits(quantity, units, kPrefix, kSuffix)) {
    return table.getTitle();
  }
  // The unit of the quantity itself is that of the ticks as they come.
  if (pwr::isTime(quantity) && timeScale().appliesTo(table)) {
    units = kPrefix + pwr::shownUnits(quantity) + kSuffix;
  }
  return table.getTitle() + units;
}

}  // namespace

SummaryWriter::SummaryWriter()
    : TextWriter("108d88ba-5ee4-11e4-aa15-123b93f75cba",
                 new pwr::WriterPluginCapability(
                     {pwr::TableClass::Summary}, "sum",
                     "Write summary reports for all collected metrics to CSV file [default]",
                     ".csv", false),
                 [timeScale = TimeScale()](const std::string& baseName, bool /*continuous*/) {
                   auto run = std::make_unique<SummaryRun>(timeScale, baseName == "console");
                   return run->open(baseName) == 0 ? std::move(run) : nullptr;
                 }) {}

SummaryWriter::~SummaryWriter() = default;
