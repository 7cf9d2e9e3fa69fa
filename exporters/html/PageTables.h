#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "writers/common/TimeScale.h"
#include "writers/host/MetricContainerInfoMessage.h"
#include "writers/host/TableMessage.h"

/// The tables of the report as the page has them: each row as JSON as soon as it comes, as long as
/// there is room.
class PageTables {
 public:
  /// `mostBytes`: of all rows; a table may take a fourth of it.
  explicit PageTables(std::size_t mostBytes) : mostBytes_(mostBytes) {}

  void setTicksPerMicrosecond(float ticks) { scale_.setTicksPerMicrosecond(ticks); }
  void add(const pwr::MetricContainerInfoMessage& container);
  void add(const pwr::TableMessage& message);

  struct Column {
    std::string name;
    bool hasNumbers = false;
    bool hasTexts = false;
  };
  struct Table {
    std::string feature;
    std::string title;
    std::vector<std::string> notes;
    std::vector<Column> columns;
    std::string rows;  ///< JSON arrays, separated by commas
    std::size_t leftOut = 0;
  };
  const std::vector<Table>& tables() const { return tables_; }
  /// How many rows are left out, and how many tables.
  std::size_t rowsLeftOut() const;
  std::size_t tablesLeftOut() const { return tablesLeftOut_; }

 private:
  Table* tableOf(const pwr::TableMessage& message);
  void addRow(Table& table, const pwr::TableMessage& message);
  std::string cellText(const pwr::DataHandle* handle, const pwr::Data* cell, Column& column) const;

  const std::size_t mostBytes_;
  TimeScale scale_;
  std::map<unsigned int, std::string> features_;  // by container
  std::map<std::pair<unsigned int, unsigned int>, std::size_t> places_;
  std::vector<Table> tables_;
  std::size_t bytes_ = 0;
  std::size_t tablesLeftOut_ = 0;
};
