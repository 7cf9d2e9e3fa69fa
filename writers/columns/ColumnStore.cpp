#include "writers/columns/ColumnStore.h"

#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "writers/columns/ColumnPrinter.h"

namespace {

constexpr std::size_t kLengthSize = RecordBuffer::kLengthSize;
// Counts are 32 bits wide and all ones means failure.
constexpr std::size_t kMostPerCall = ColumnStore::kLongestValue + RecordBuffer::kLengthSize;
constexpr std::size_t kSmallestChunk = 4096;
constexpr std::size_t kLargestFirstChunk = 0x100000;
// While the temporary file cannot be written, every attempt to go on is a log line.
constexpr std::uint64_t kRowsBetweenAttempts = 256;

}  // namespace

/// Memory for records that the range of the store cannot hold. As long as there are none, what the
/// store has in memory is read where it is.
struct ColumnStore::Chunk {
  /// Without its old content, which is read again. False when memory is short.
  bool allocate(std::size_t size) {
    bytes.reset();
    bytes.reset(new (std::nothrow) char[size]);
    capacity = size;
    return bytes != nullptr;
  }

  std::unique_ptr<char[]> bytes;
  std::size_t capacity = 0;
};

ColumnStore::ColumnStore(const std::string& title, const std::string& placeholder,
                         const std::string& logName)
    : title_(title), placeholder_(placeholder), logName_(logName.empty() ? title : logName) {}

ColumnStore::Column ColumnStore::addColumn(const std::string& name) {
  if (columnNames_.size() == kMostColumns) {
    if (!refusedColumn_) {
      PW_LOG(kTextLog, PW_LOG_WARNING,
             "WARNING: The table %s has %zu columns and can take no more: %s is left out\n",
             logName_.c_str(), columnNames_.size(), name.c_str());
    }
    refusedColumn_ = true;
    return kNoColumn;
  }
  columnNames_.push_back(name);
  ++columnCount_;
  columnWidths_.push_back(name.size());
  if (nextColumn_ == kOutOfOrder) cells_.push_back(0);
  PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Column#%zu width=%zu\n", columnNames_.size(),
         columnWidths_.back());
  return columnCount_ - 1;
}

int ColumnStore::refuseColumn(Column column) const {
  if (column == kNoColumn) return 1;
  PW_LOG(kTextLog, PW_LOG_WARNING,
         "WARNING: Trying to set data for a column %u before adding it to the store.Columns "
         "added=%zu\n",
         column, columnNames_.size());
  return 1;
}

int ColumnStore::refuseLength(std::size_t length) {
  PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: A value of %zu bytes is too long for a table\n",
         length);
  return 1;
}

/// Has the next record be the cell of `column` in a row whose cells come in any order.
void ColumnStore::noteOutOfOrder(Column column) {
  if (nextColumn_ != kOutOfOrder) {
    cells_.assign(columnNames_.size(), 0);
    std::size_t start = rowStart_;
    for (Column earlier = 0; earlier < nextColumn_; ++earlier) {
      cells_[earlier] = start + kLengthSize;
      start = cells_[earlier] + RecordBuffer::textAt(rows_.data() + start).size();
    }
    nextColumn_ = kOutOfOrder;
  }
  cells_[column] = rows_.size() + kLengthSize;
}

/// Gives every column of the current row a cell.
void ColumnStore::fillRow() {
  if (nextColumn_ == kOutOfOrder) return assembleRow();
  for (; nextColumn_ < columnNames_.size(); ++nextColumn_) {
    rows_.append(std::string_view(placeholder_));
  }
}

/// Brings the records of the current row into column order, without gaps and replaced values.
void ColumnStore::assembleRow() {
  assembled_.clear();
  for (const std::size_t cell : cells_) {
    assembled_.append(cell != 0 ? RecordBuffer::textAt(rows_.data() + cell - kLengthSize)
                                : std::string_view(placeholder_));
  }
  rows_.truncate(rowStart_);
  rows_.appendRecords(assembled_);
}

void ColumnStore::logRow() const {
  std::size_t start = rowStart_;
  for (std::size_t column = 0; column < columnNames_.size(); ++column) {
    const std::string_view text = RecordBuffer::textAt(rows_.data() + start);
    const int length = static_cast<int>(text.size());
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Wrote %d\n", length);
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Wrote %.*s\n", length, text.data());
    start += kLengthSize + text.size();
  }
  PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Wrote the row complete token\n");
}

/// Hands the finished rows to the store, or loses them.
void ColumnStore::storeRows() {
  if (storeUnstored()) {
    storeBytes(rows_.view());
  } else {
    lostRows_ += finishedRows_;
  }
  rows_.clear();
  finishedRows_ = 0;
}

/// When the store takes a row in part, the rest has to get there before any other row, because a
/// row that stays cut off would garble those behind it. True when nothing is left.
bool ColumnStore::storeUnstored() {
  if (unstored_.empty()) return true;
  if (lostRows_ < nextAttempt_) return false;
  if (storeBytes(std::string(unstored_))) return true;
  nextAttempt_ = lostRows_ + kRowsBetweenAttempts;
  return false;
}

bool ColumnStore::storeBytes(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, kMostPerCall);
    const std::uint64_t size = store_.size();
    const std::uint32_t count =
        store_.write(piece.data(), static_cast<std::uint32_t>(piece.size()));
    if (count == pwr::ZtBufferProvider::kFailed) {
      unstored_ = bytes.substr(static_cast<std::size_t>(store_.size() - size));
      return false;
    }
    bytes.remove_prefix(count);
  }
  unstored_.clear();
  return true;
}

int ColumnStore::writeTo(FILE* output, const std::string& separator, bool leadingNewline) {
  if (output == nullptr) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Please provide a valid output file to write\n");
    return 1;
  }
  rows_.truncate(rowStart_);  // without a row that was never completed
  nextAttempt_ = 0;
  storeRows();
  rowStart_ = 0;
  ColumnPrinter printer(output, separator, placeholder_, columnWidths_);
  if (leadingNewline) printer.printLine("");
  printer.printLine(title_);
  printer.printHeader(columnNames_);
  const bool complete = printRows(printer);
  const int errnum = printer.finish();
  if (errnum != 0) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Could not write the table %s: %s\n",
           logName_.c_str(), systemErrorText(errnum).c_str());
  }
  return complete && errnum == 0 ? 0 : 1;
}

/// False when rows are missing. A store that cannot be read ends the table.
bool ColumnStore::printRows(ColumnPrinter& printer) {
  store_.resetForReading();
  Chunk chunk;
  chunk.capacity = static_cast<std::size_t>(
      std::clamp<std::uint64_t>(store_.size(), kSmallestChunk, kLargestFirstChunk));
  bool enoughMemory = true;
  bool isReadable = true;
  while (enoughMemory && !printer.hasFailed()) {
    const std::string_view records = readRecords(chunk);
    const bool atEnd = store_.getReadPosition() == store_.size();
    isReadable = atEnd || !records.empty();
    if (records.empty()) break;
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Read %lld bytes from store\n",
           static_cast<long long>(records.size()));
    const std::string_view rest = records.substr(printRecords(printer, records));
    if (rest.empty()) continue;
    // The store ends within a record when its last row could not be stored completely, or somebody
    // else has written to its file.
    if (atEnd) {
      isReadable = !unstored_.empty();
      break;
    }
    enoughMemory = prepareRest(chunk, rest, records.size());
  }
  printer.printLine("");
  return enoughMemory && !reportMissingRows(isReadable);
}

/// Empty at the end of the store, and when it cannot be read.
std::string_view ColumnStore::readRecords(Chunk& chunk) {
  if (chunk.bytes == nullptr) {
    const std::span<const char> range = store_.readInPlace();
    return {range.data(), range.size()};
  }
  const auto wanted = static_cast<std::uint32_t>(std::min(chunk.capacity, kMostPerCall));
  const std::uint32_t count = store_.read(chunk.bytes.get(), wanted);
  return {chunk.bytes.get(), count == pwr::ZtBufferProvider::kFailed ? 0 : count};
}

/// Returns how many bytes the complete records at the start of `records` take.
std::size_t ColumnStore::printRecords(ColumnPrinter& printer, std::string_view records) {
  const bool chatty = kTextLog.shows(PW_LOG_INFO);
  std::size_t start = 0;
  while (records.size() - start >= kLengthSize) {
    if (!chatty && records.size() - start >= printer.rowRoom()) {
      const std::size_t row = printer.printRow(records.data() + start);
      start += row;
      if (row > 0) continue;
    }
    const std::string_view text = RecordBuffer::textAt(records.data() + start);
    if (text.size() > records.size() - start - kLengthSize) break;
    start += kLengthSize + text.size();
    if (chatty) {
      kTextLog.write(PW_LOG_INFO, "INFO: Read %.*s\n", static_cast<int>(text.size()), text.data());
    }
    if (text == RecordBuffer::kRowComplete) {
      printer.endRow();
    } else {
      printer.printCell(text);
    }
  }
  return start;
}

/// Has the next read begin with the record that `rest`, the end of the last `count` bytes read,
/// holds in part, and the chunk be large enough for it. False when there is no memory for that.
bool ColumnStore::prepareRest(Chunk& chunk, std::string_view rest, std::size_t count) {
  const auto distance = static_cast<long long>(rest.size());
  if (rest.size() < kLengthSize) {
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: ");
    rewind(rest.size());
    PW_LOG(kTextLog, PW_LOG_INFO,
           "INFO: Rewinding store by %lld bytes to read next complete string\n", distance);
    return true;
  }
  const std::size_t size = RecordBuffer::textAt(rest.data()).size();  // gone with the rewind
  rewind(rest.size());
  PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Rewinding store by %lld bytes to read complete string\n",
         distance);
  if (size + kLengthSize <= count) return true;
  PW_LOG(kTextLog, PW_LOG_INFO,
         "INFO: Doubling buffer size to %zu bytes to get the next complete string\n",
         chunk.capacity);
  if (chunk.allocate(2 * chunk.capacity)) return true;
  PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Failed to allocate buffer of size %zu bytes\n",
         chunk.capacity);
  return false;
}

void ColumnStore::rewind(std::size_t distance) {
  const std::uint64_t position = store_.getReadPosition();
  if (distance > position) {
    std::fputs("ERROR: trying to rewind past the start of the buffer?!\n", stderr);
  } else if (!store_.setReadPosition(position - distance)) {
    std::fprintf(stderr, "ERROR: couldn't rewind %zu bytes\n", distance);
  }
}

bool ColumnStore::reportMissingRows(bool isReadable) const {
  const bool areStored = unstored_.empty() && lostRows_ == 0;
  if (areStored && isReadable) return false;
  // What could not be written out is in the way of reading the rest.
  const bool failedToWrite = !areStored || store_.isDirty();
  PW_LOG(kTextLog, PW_LOG_WARNING,
         "WARNING: Rows of the table %s are missing: its temporary file could not be %s\n",
         logName_.c_str(), failedToWrite ? "written" : "read");
  return true;
}
