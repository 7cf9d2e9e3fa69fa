#include "writers/host/TableMessage.h"

#include <algorithm>

#include "writers/host/Quantity.h"

namespace pwr {

namespace {

/// Position of `wanted` in `handles`; their number when it is not among them.
template <typename Handle>
std::size_t indexOf(const std::vector<const Handle*>& handles, const Handle* wanted) {
  return static_cast<std::size_t>(std::ranges::find(handles, wanted) - handles.begin());
}

bool notesOf(const std::vector<std::string>& notes, std::vector<std::string>& out) {
  if (notes.empty()) return false;
  out = notes;
  return true;
}

unsigned long long messageId(const TableDescription& description) {
  return (static_cast<unsigned long long>(description.containerId) << 32U) | description.tableId;
}

}  // namespace

bool TextNotes::getPreTableNotes(std::vector<std::string>& out) const {
  return notesOf(preTable_, out);
}

bool TextNotes::getPostTableNotes(std::vector<std::string>& out) const {
  return notesOf(postTable_, out);
}

TableMessage::TableMessage(std::shared_ptr<const TableDescription> description)
    : Message(messageId(*description)),
      description_(std::move(description)),
      type_(TableMessageType::Definition) {}

TableMessage::TableMessage(std::shared_ptr<const TableDescription> description,
                           std::vector<Data> cells)
    : Message(messageId(*description)),
      description_(std::move(description)),
      type_(TableMessageType::Row),
      cells_(std::move(cells)) {}

TableMessage::~TableMessage() = default;

TableClass TableMessage::getTableClass() const {
  return description_->tableClass;
}

unsigned int TableMessage::getEntityCount() const {
  return static_cast<unsigned int>(description_->entities.size());
}

unsigned int TableMessage::getFieldCount() const {
  return static_cast<unsigned int>(description_->cellsPerRow());
}

int TableMessage::getHandleCount() const {
  return static_cast<int>(description_->handles.size());
}

int TableMessage::getSharedHandleCount() const {
  return static_cast<int>(description_->sharedHandles.size());
}

const Data* TableMessage::getField(const EntityHandle* entity, const DataHandle* handle) const {
  const TableDescription& table = *description_;
  std::size_t position = indexOf(table.sharedHandles, handle);
  if (entity != nullptr || position == table.sharedHandles.size()) {
    const std::size_t column = indexOf(table.handles, handle);
    const bool perEntity = !table.entities.empty();
    const std::size_t group = entity == nullptr ? 0 : indexOf(table.entities, entity);
    if (column == table.handles.size() || perEntity != (entity != nullptr) ||
        (perEntity && group == table.entities.size())) {
      return nullptr;
    }
    position = table.sharedHandles.size() + group * table.handles.size() + column;
  }
  return position < cells_.size() ? &cells_[position] : nullptr;
}

int TableMessage::getFieldAsString(const DataHandle* handle, std::string& out,
                                   bool& isNumeric) const {
  return getFieldAsString(nullptr, handle, out, isNumeric);
}

int TableMessage::getFieldAsString(const EntityHandle* entity, const DataHandle* handle,
                                   std::string& out, bool& isNumeric) const {
  const Data* const cell = getField(entity, handle);
  if (cell == nullptr || cell->toFormattedString(out) != 0) return 1;
  isNumeric = cell->isNumeric();
  return 0;
}

bool TableMessage::quantityToUnits(const Quantity* quantity, std::string& out,
                                   const std::string& prefix, const std::string& suffix) {
  if (quantity == nullptr || quantity->toUnitsString().empty()) return false;
  out = prefix + quantity->toUnitsString() + suffix;
  return true;
}

}  // namespace pwr
