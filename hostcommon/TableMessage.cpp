#include "writers/host/TableMessage.h"

#include <algorithm>
#include <unordered_map>

#include "writers/host/Quantity.h"

namespace pwr {

/// Up to this many handles are found as fast by looking at each of them.
constexpr std::size_t kSearched = 16;

/// Finds the position of a handle in a list, the first one if it stands there twice.
template <typename Handle>
class Positions {
 public:
  explicit Positions(const std::vector<const Handle*>& handles) : handles_(handles) {
    if (handles.size() <= kSearched) return;
    for (std::size_t i = 0; i < handles.size(); ++i) positions_.try_emplace(handles[i], i);
  }

  /// The number of handles when `wanted` is not among them.
  std::size_t of(const Handle* wanted) const {
    if (positions_.empty()) {
      return static_cast<std::size_t>(std::ranges::find(handles_, wanted) - handles_.begin());
    }
    const auto found = positions_.find(wanted);
    return found == positions_.end() ? handles_.size() : found->second;
  }

 private:
  const std::vector<const Handle*>& handles_;
  std::unordered_map<const Handle*, std::size_t> positions_;
};

namespace {

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

/// Where the cells of a row stand.
struct TableMessage::Places {
  explicit Places(const TableDescription& table)
      : shared(table.sharedHandles), entities(table.entities), handles(table.handles) {}

  Positions<DataHandle> shared;
  Positions<EntityHandle> entities;
  Positions<DataHandle> handles;
};

const Data* TableMessage::getField(const EntityHandle* entity, const DataHandle* handle) const {
  const TableDescription& table = *description_;
  if (places_ == nullptr) places_ = std::make_shared<const Places>(table);
  std::size_t position = places_->shared.of(handle);
  if (entity != nullptr || position == table.sharedHandles.size()) {
    const std::size_t column = places_->handles.of(handle);
    const bool perEntity = !table.entities.empty();
    const std::size_t group = entity == nullptr ? 0 : places_->entities.of(entity);
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
