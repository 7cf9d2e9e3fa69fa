#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "writers/host/WriterPlugin.h"
#include "writers/text/TimeScale.h"

/// Adds one line per run to "Automation_Summary.csv" in the folder of the output, so that the runs
/// of a test series stand below each other: the numbers of the summary tables, under names made of
/// the tables' columns and row keys. The format: docs/formats/automation.md.
class AutoWriter : public WriterPlugin {
 public:
  AutoWriter();
  ~AutoWriter() override;

  /// Opens no file; the line is written when the output is closed.
  int openOutput(const std::string& baseName, bool continuous) override;
  int closeOutput() override;

 protected:
  /// A title is the entity's name, the upper heading where the table shows upper headings, and the
  /// field name: those that are not empty, with blanks in between.
  void getColumnTitles(const pwr::TableMessage& table,
                       std::deque<std::string>& titles) const override;

 private:
  int writeMessage(const pwr::MetricContainerInfoMessage& message) override;
  int writeMessage(const pwr::SystemMessage& message) override;
  int writeMessage(const pwr::TableMessage& table) override;

  int selectFrom(const pwr::TableMessage& table);
  std::deque<std::string> valuesOf(const pwr::TableMessage& table) const;
  void addColumn(const std::string& name, const std::string& value);

  std::string baseName_;
  // Of the line, in parallel.
  std::vector<std::string> columnNames_;
  std::vector<std::string> columnValues_;
  // Of the table that arrived last.
  std::deque<std::string> columnTitles_;
  TimeScale timeScale_;
  const pwr::SystemMetadata* metadata_ = nullptr;
  std::size_t metadataColumn_ = 0;  // the first one that is filled from it
};
