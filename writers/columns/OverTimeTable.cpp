#include "writers/columns/OverTimeTable.h"

#include <algorithm>
#include <cstring>

#include "writers/common/TextLog.h"

void OverTimeTable::beginRow(std::string_view time) {
  endRow();
  setCell(0, time);
}

void OverTimeTable::setCell(std::uint32_t column, std::string_view text) {
  if (text_.size() + text.size() + cells_.size() * sizeof(Cell) > kLargestRow &&
      cells_.size() > 1) {
    beginRow(text_.substr(0, cells_.front().size));
  }
  cells_.push_back({column, text_.size(), text.size()});
  text_ += text;
}

void OverTimeTable::endRow() {
  if (cells_.empty()) return;
  sortCells();
  record_.assign(sizeof(RowHead), '\0');
  std::uint32_t column = 0;
  for (const Cell& cell : cells_) {
    record_.append(cell.column - column, ',').append(text_, cell.start, cell.size);
    column = cell.column;
  }
  const RowHead head{static_cast<std::uint32_t>(record_.size() - sizeof(RowHead)), column};
  std::memcpy(record_.data(), &head, sizeof head);
  stage();
  cells_.clear();
  text_.clear();
}

/// Leaves one cell for each column, the latest, in the order of the columns.
void OverTimeTable::sortCells() {
  const auto isNotBefore = [](const Cell& a, const Cell& b) { return a.column >= b.column; };
  if (std::ranges::adjacent_find(cells_, isNotBefore) == cells_.end()) return;
  // From the last to the first, so that the latest of each column is the first of its kind.
  std::ranges::reverse(cells_);
  std::ranges::stable_sort(cells_, {}, &Cell::column);
  const auto sameColumn = [](const Cell& one, const Cell& next) {
    return one.column == next.column;
  };
  const auto rest = std::unique(cells_.begin(), cells_.end(), sameColumn);
  cells_.erase(rest, cells_.end());
}

/// Puts the record into the store, or loses the row as a whole.
void OverTimeTable::stage() {
  if (lostRows_ < nextAttempt_) {
    ++lostRows_;
    return;
  }
  // The store may end within a row that it took in part.
  const bool isAtEnd = store_.size() == staged_ ||
                       (store_.setReadPosition(staged_) && store_.seekWriteToRead() == staged_);
  const std::uint32_t size = static_cast<std::uint32_t>(record_.size());
  if (isAtEnd && record_.size() < pwr::ZtBufferProvider::kFailed &&
      store_.write(record_.data(), size) == size) {
    staged_ += size;
    return;
  }
  // Every attempt is a log line, so they get rare.
  ++lostRows_;
  nextAttempt_ = 2 * lostRows_;
}

int OverTimeTable::print(pwr::OutputFile& file, std::size_t columns) {
  endRow();
  store_.resetForReading();
  std::string line;
  bool isReadable = true;
  while (isReadable && file.isComplete() && store_.getReadPosition() < staged_) {
    isReadable = unstage(line, columns);
    if (isReadable) file.write(line);
  }
  if (isReadable && lostRows_ == 0) return 0;
  PW_LOG(kTextLog, PW_LOG_WARNING,
         "WARNING: Rows of the table %s are missing: its temporary file could not be %s\n",
         file.getPath().c_str(), isReadable || store_.isDirty() ? "written" : "read");
  return 1;
}

/// Reads the next row back. False when that fails, or somebody else has written to the store.
bool OverTimeTable::unstage(std::string& line, std::size_t columns) {
  RowHead head{};
  if (store_.read(&head, sizeof head) != sizeof head) return false;
  if (head.lastColumn > columns || head.size > staged_ - store_.getReadPosition()) return false;
  line.resize(head.size);
  if (store_.read(line.data(), head.size) != head.size) return false;
  line.append(columns - head.lastColumn, ',') += '\n';
  return true;
}
