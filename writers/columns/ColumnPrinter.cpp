#include "writers/columns/ColumnPrinter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "writers/common/TextLog.h"

namespace {

constexpr std::size_t kSlack = GatheredOutput::kSlack;
constexpr std::size_t kMostAtOnce = GatheredOutput::kMostAtOnce;

/// Copies at least `count` bytes. Up to `kSize` it copies just that many: the lengths of cells vary
/// too much for the processor to foresee them, and telling them apart takes longer than the copy.
template <std::size_t kSize>
void copyAtLeast(char* to, const char* from, std::size_t count) {
  static_assert(kSize <= kSlack);
  if (count <= kSize) {
    std::memcpy(to, from, kSize);
  } else {
    std::memcpy(to, from, count);
  }
}

}  // namespace

ColumnPrinter::ColumnPrinter(FILE* output, std::string_view separator, std::string_view placeholder,
                             const std::vector<std::size_t>& widths)
    : output_(output),
      separator_(std::string(separator) + " "),
      placeholder_(placeholder),
      widths_(widths),
      gathered_([this](std::string_view text) { write(text); }) {
  const std::size_t widest = widths.empty() ? 0 : *std::ranges::max_element(widths);
  empty_ = separator_ + std::string(std::min(widest, kMostAtOnce) + kSlack, ' ');
  columns_.reserve(widths.size());
  for (const std::size_t width : widths) {
    const std::size_t lead = columns_.empty() ? 0 : separator_.size();
    columns_.push_back({width, lead + width, empty_.data() + separator_.size() - lead});
    lineSize_ += lead + width;
    rowRoom_ += RecordBuffer::kLengthSize + width;
  }
  if (lineSize_ > kMostAtOnce) rowRoom_ = std::numeric_limits<std::size_t>::max();
}

void ColumnPrinter::printLine(std::string_view text) {
  gathered_.append(text);
  gathered_.append("\n");
}

void ColumnPrinter::printHeader(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Column width=%llu\n",
           static_cast<unsigned long long>(widths_[column_]));
    printCell(name);
  }
  gathered_.append("\n");
  column_ = 0;
}

std::size_t ColumnPrinter::printRow(const char* records) {
  if (column_ != 0) return 0;
  char* cell = gathered_.extend(lineSize_);
  std::string_view text = RecordBuffer::textAt(records);
  for (const Column& column : columns_) {
    if (text.size() > column.width || text == RecordBuffer::kRowComplete) {
      gathered_.retract(lineSize_);
      return 0;
    }
    // An empty cell, and the text over it. What they leave behind themselves is overwritten next.
    copyAtLeast<32>(cell, column.empty, column.size);
    cell += column.size;
    copyAtLeast<16>(cell - text.size(), text.data(), text.size());
    text = RecordBuffer::textAt(text.data() + text.size());
  }
  if (text != RecordBuffer::kRowComplete) {
    gathered_.retract(lineSize_);
    return 0;
  }
  *cell = '\n';
  // Known without the text, for which the next row would have to wait.
  return static_cast<std::size_t>(text.data() + RecordBuffer::kRowComplete.size() - records);
}

void ColumnPrinter::printCell(std::string_view text) {
  if (column_ >= columns_.size()) return printAnyCell(text, column_ > 0);
  const Column& column = columns_[column_];
  if (text.size() > column.width || column.size > kMostAtOnce) {
    return printAnyCell(text, column_ > 0);
  }
  ++column_;
  char* const cell = gathered_.extend(column.size);
  copyAtLeast<32>(cell, column.empty, column.size);
  copyShort(cell + column.size - text.size(), text.data(), text.size());
}

/// Prints the next cell whatever its size.
void ColumnPrinter::printAnyCell(std::string_view text, bool separated) {
  const std::size_t width = column_ < widths_.size() ? widths_[column_] : 0;
  if (separated) gathered_.append(separator_);
  if (text.size() < width) gathered_.pad(width - text.size());
  gathered_.append(text);
  ++column_;
}

void ColumnPrinter::endRow() {
  // Even the first cell gets the separator in a row that has none of its own.
  while (column_ < widths_.size()) printAnyCell(placeholder_, true);
  gathered_.append("\n");
  column_ = 0;
}

int ColumnPrinter::finish() {
  gathered_.drain();
  if (errnum_ == 0 && std::fflush(output_) != 0) errnum_ = errno;
  return errnum_;
}

void ColumnPrinter::write(std::string_view text) {
  if (errnum_ != 0) return;
  if (std::fwrite(text.data(), 1, text.size(), output_) != text.size()) errnum_ = errno;
}
