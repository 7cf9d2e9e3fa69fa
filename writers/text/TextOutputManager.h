#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "writers/host/TextNotes.h"
#include "writers/text/ReportOutput.h"
#include "writers/text/TempTableOutput.h"

class WriterInterfaceConfigFileParser;

/// Owns the final file of a text writer and the temporary outputs that its tables are staged in,
/// and puts the report together when it is closed: container by container in the order that the
/// output configuration file asks for. Opened once and closed once; the temporary outputs are
/// deleted with it.
class TextOutputManager {
 public:
  using ContainerId = std::uint32_t;
  /// Container id in the upper 32 bits, table id in the lower.
  using TableKey = std::uint64_t;
  /// Feature name -> metric name -> container.
  using MetricOrderMap = std::map<std::string, std::map<std::string, ContainerId>>;

  /// Keys of the text outputs that are written before everything else, in this order. Text outputs
  /// have a key space of their own, so no table can have these.
  static constexpr std::uint64_t kHeaderText = ~std::uint64_t{0};
  static constexpr std::uint64_t kOtherText = kHeaderText - 1;

  static constexpr TableKey tableKey(ContainerId container, std::uint32_t table) {
    return (TableKey{container} << 32U) | table;
  }

  /// A temporary output, null when it could not be created, now or earlier; `created` tells that it
  /// is new.
  struct Staged {
    TempTableOutput* output;
    bool created;
  };

  /// `extension` is appended to base names, `separator` stands between the cells of a row.
  TextOutputManager(std::string extension, std::string separator);

  /// Creates the final file. Returns 1 when that fails (logged). Call first.
  int open(const std::string& baseName);

  /// Find a temporary output or create it. The counts are used at creation only.
  Staged stageText(std::uint64_t key) { return stage(texts_, key, TempTableOutput::Kind::Text, 1); }
  Staged stageDescription(TableKey key, std::size_t cellsPerRow) {
    return stage(descriptions_, key, TempTableOutput::Kind::Table, cellsPerRow);
  }
  Staged stageTable(TableKey key, std::size_t cellsPerRow) {
    return stage(tables_, key, TempTableOutput::Kind::Table, cellsPerRow);
  }
  /// To be called after appending to `output`: 0, or 1 when cells were lost (logged once).
  int checkStaging(const TempTableOutput& output);

  void setHeading(ContainerId container, const std::string& heading) {
    headings_[container] = heading;
  }
  void setContainerNotes(ContainerId container, const pwr::TextNotes& notes) {
    containerNotes_[container] = notes;
  }
  void setTableNotes(TableKey key, const pwr::TextNotes& notes) { tableNotes_[key] = notes; }

  /// To be called before `close`: the containers in the order in which their first table arrived,
  /// no id twice, and where each configured metric is found.
  void setOrder(std::vector<ContainerId> arrivalOrder, MetricOrderMap metricOrder);

  /// Merges all temporary outputs into the final file. Returns 1, with the cause logged here or
  /// earlier, when the file is not complete. Call last.
  int close();

 private:
  using OutputMap = std::map<std::uint64_t, std::unique_ptr<TempTableOutput>>;
  using NoteLines = bool (pwr::TextNotes::*)(std::vector<std::string>&) const;

  Staged stage(OutputMap& outputs, std::uint64_t key, TempTableOutput::Kind kind,
               std::size_t cellsPerRow);
  std::vector<ContainerId> finalOrder() const;
  std::vector<std::string> configuredFeatures() const;
  void mergeTexts();
  void mergeContainer(ContainerId container, bool withHeading);
  void mergeTables(const OutputMap& outputs, ContainerId container, bool withNotes);
  void merge(TempTableOutput* output);
  void writeNotes(const pwr::TextNotes* notes, NoteLines lines);

  const std::string extension_;
  const std::string separator_;
  const WriterInterfaceConfigFileParser* const configParser_;
  bool stagingFailureLogged_ = false;
  ReportOutput report_;
  // Before the outputs, whose files must be gone when the directory goes.
  PrivateDirectory directory_;
  OutputMap texts_;
  OutputMap descriptions_;
  OutputMap tables_;
  std::unordered_map<ContainerId, std::string> headings_;
  std::unordered_map<ContainerId, pwr::TextNotes> containerNotes_;
  std::unordered_map<TableKey, pwr::TextNotes> tableNotes_;
  std::optional<std::vector<ContainerId>> arrivalOrder_;
  MetricOrderMap metricOrder_;
};
