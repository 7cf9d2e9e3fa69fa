#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "hostcommon/Descriptions.h"
#include "writers/host/TableMessage.h"

namespace pwr {

/// A summary table in the making: its columns, then its rows.
class TableBuilder {
 public:
  using Row = std::vector<Data>;

  /// `note` explains the table's cells below it.
  TableBuilder(unsigned int containerId, unsigned int tableId, std::string title,
               std::string note) {
    table_.containerId = containerId;
    table_.tableId = tableId;
    table_.title = std::move(title);
    table_.notes = std::make_shared<const TextNotes>(std::vector<std::string>(),
                                                     std::vector<std::string>{std::move(note)});
  }

  void column(const std::string& name, const Quantity* quantity = nullptr) {
    table_.handles.push_back(createColumn(name, quantity));
  }
  void row(Row cells) { rows_.push_back(std::move(cells)); }

  /// Delivers the rows one by one, or the headings alone where there are none.
  void deliver(const std::function<void(const TableMessage&)>& sink) {
    const auto shared = std::make_shared<const TableDescription>(std::move(table_));
    if (rows_.empty()) sink(TableMessage(shared));
    for (Row& cells : rows_) sink(TableMessage(shared, std::move(cells)));
  }

 private:
  TableDescription table_;
  std::vector<Row> rows_;
};

}  // namespace pwr
