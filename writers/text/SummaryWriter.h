#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "writers/text/TextWriter.h"

/// Writes every summary table of a run as a block of comma-separated lines into one ".csv" file,
/// grouped by metric container. The base name "console" also prints the tables and texts on
/// standard output when the output is closed. The format: docs/formats/summary.md.
class SummaryWriter : public TextWriter {
 public:
  SummaryWriter();
  ~SummaryWriter() override;

  int openOutput(const std::string& baseName, bool continuous) override;
  int closeOutput() override;

 private:
  using TextWriter::writeMessage;
  int writeMessage(const pwr::MetricContainerInfoMessage& message) override;
  int writeMessage(const pwr::TextMessage& message) override;
  int writeMessage(const pwr::TableMessage& table) override;

  bool noteArrival(unsigned int container);
  int writeTable(const pwr::TableMessage& table, const TextOutputManager::Staged& staged);
  void writeDefinition(const pwr::TableMessage& table, TempTableOutput& output);
  void writeRow(const pwr::TableMessage& table, TempTableOutput& output);
  std::string titleOf(const pwr::TableMessage& table) const;

  bool console_ = false;
  std::vector<TextOutputManager::ContainerId> arrivalOrder_;
  std::unordered_set<TextOutputManager::ContainerId> arrived_;
  TextOutputManager::MetricOrderMap metricOrder_;
};
