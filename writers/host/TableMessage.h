#pragma once

#include <memory>
#include <string>
#include <vector>

#include "writers/host/Data.h"
#include "writers/host/DataHandle.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/HostApi.h"
#include "writers/host/Message.h"
#include "writers/host/TextNotes.h"

namespace pwr {

class Quantity;

/// Which tables a writer accepts. The number of Summary is part of the host interface.
enum class TableClass : int { Summary = 0, Detail = 1 };

/// The kind of table that older hosts made of a metric.
enum class RealTableClass : int { None = 0, Residency = 1, Counter = 2, Value = 3, Trace = 4 };

/// The numbers are part of the host interface.
enum class TableMessageType : int {
  Definition = 0,  ///< title and headings only
  Row = 1,         ///< the same, and one row of values
};

/// What a table is made of, apart from its rows. Its row has one cell for every shared handle, then
/// for each entity (or once, without entities) one cell for every handle.
struct TableDescription {
  unsigned int containerId = 0;  ///< the metric container that the table belongs to; 0 for none
  unsigned int tableId = 0;      ///< unique in its container; tables of a container sort by it
  TableClass tableClass = TableClass::Summary;
  std::string title;
  /// Gives the title its unit; null when the cells differ. What a cell is, such as a time, is told
  /// by the quantity of its handle alone.
  const Quantity* quantity = nullptr;
  std::vector<const DataHandle*> sharedHandles;
  std::vector<const EntityHandle*> entities;
  std::vector<const DataHandle*> handles;
  bool fieldHeaders = false;  ///< the handles' headers are worth a line of their own
  std::shared_ptr<const TextNotes> notes;

  std::size_t cellsPerRow() const {
    return sharedHandles.size() + (entities.empty() ? 1 : entities.size()) * handles.size();
  }
};

/// A table's definition, and one row of it unless the type is Definition. The rows of a table come
/// as one message each under the same container id and table id.
class PW_HOST_API TableMessage : public Message {
 public:
  /// A message that only defines the table.
  explicit TableMessage(std::shared_ptr<const TableDescription> description);
  /// A message with one row: `cells` in the order that `TableDescription` states.
  TableMessage(std::shared_ptr<const TableDescription> description, std::vector<Data> cells);
  ~TableMessage() override;

  const TableDescription& getDescription() const { return *description_; }
  const std::vector<Data>& getCells() const { return cells_; }

  virtual TableClass getTableClass() const;
  unsigned int getContainerId() const { return description_->containerId; }
  unsigned int getTableId() const { return description_->tableId; }
  const std::string& getTitle() const { return description_->title; }
  const Quantity* getQuantity() const { return description_->quantity; }
  /// Null when the table has none.
  const TextNotes* getTextNotes() const { return description_->notes.get(); }
  TableMessageType getTableMessageType() const { return type_; }
  bool hasFieldHeaders() const { return description_->fieldHeaders; }
  unsigned int getEntityCount() const;
  /// Number of cells in one row.
  unsigned int getFieldCount() const;
  /// Number of handles that each entity has a cell for (or the table, without entities).
  int getHandleCount() const;
  int getSharedHandleCount() const;
  const std::vector<const DataHandle*>& getSharedHandles() const {
    return description_->sharedHandles;
  }
  const std::vector<const EntityHandle*>& getEntities() const { return description_->entities; }
  const std::vector<const DataHandle*>& getHandles() const { return description_->handles; }

  /// The text of a cell (as `Data::toFormattedString` gives it), and whether it is a number: of the
  /// cell under a shared handle or, in a table without entities, under any handle; and of the cell
  /// of one entity. Returns 0, or 1 (outputs untouched) when there is no such cell or it is empty.
  int getFieldAsString(const DataHandle* handle, std::string& out, bool& isNumeric) const;
  int getFieldAsString(const EntityHandle* entity, const DataHandle* handle, std::string& out,
                       bool& isNumeric) const;

  /// Calls `visit(entity, handle)` for every cell of a row in order; the entity is null for shared
  /// cells and in tables without entities.
  template <typename Visit>
  void forEachCell(const Visit& visit) const {
    for (const DataHandle* handle : getSharedHandles()) visit(nullptr, handle);
    if (getEntities().empty()) {
      for (const DataHandle* handle : getHandles()) visit(nullptr, handle);
    }
    for (const EntityHandle* entity : getEntities()) {
      for (const DataHandle* handle : getHandles()) visit(entity, handle);
    }
  }

  /// The cell behind `getFieldAsString`; null when there is none. `entity` may be null. Takes the
  /// same time however wide the table is.
  const Data* getField(const EntityHandle* entity, const DataHandle* handle) const;

  /// `out` becomes prefix + units + suffix; false, leaving it alone, when `quantity` is null or has
  /// no units.
  static bool quantityToUnits(const Quantity* quantity, std::string& out, const std::string& prefix,
                              const std::string& suffix);

 private:
  std::shared_ptr<const TableDescription> description_;
  TableMessageType type_;
  std::vector<Data> cells_;
  struct Places;
  mutable std::shared_ptr<const Places> places_;  // made when a cell is first asked for
};

}  // namespace pwr
