#pragma once

#include <deque>
#include <string>

#include "writers/common/RunWriter.h"
#include "writers/text/AutomationLine.h"

/// Adds one line per run to "Automation_Summary.csv" in the folder of the output, so that the runs
/// of a test series stand below each other: the numbers of the summary tables, under names made of
/// the tables' columns and row keys. The format: docs/formats/automation.md.
///
/// Opening the output opens no file; the line is written when the output is closed.
class AutoWriter : public RunWriter<AutomationLine> {
 public:
  AutoWriter();
  ~AutoWriter() override;

 protected:
  /// A title is the entity's name, the upper heading where the table shows upper headings, and the
  /// field name: those that are not empty, with blanks in between.
  void getColumnTitles(const pwr::TableMessage& table,
                       std::deque<std::string>& titles) const override;

 private:
  using RunWriter::writeMessage;
  int writeMessage(const pwr::MetricContainerInfoMessage& message) override;
  int writeMessage(const pwr::TableMessage& table) override;

  int selectFrom_i(const pwr::TableMessage& table);
  std::deque<std::string> valuesOf_i(const pwr::TableMessage& table);
};
