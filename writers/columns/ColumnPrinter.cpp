#include "writers/columns/ColumnPrinter.h"

#include <cerrno>
#include <cstring>

#include "writers/TextLog.h"

namespace {

// Wider columns are printed piece by piece, which nobody notices beside the bytes themselves.
constexpr std::size_t kWidestFast = 256;

/// Copies at least `count` bytes. Up to `kSize` it copies just that many: the lengths of cells vary
/// too much for the processor to foresee them, and telling them apart takes longer than the copy.
template <std::size_t kSize>
void copyAtLeast(char* to, const char* from, std::size_t count) {
  static_assert(kSize <= ColumnPrinter::kSlack);
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
      columnCount_(widths.size()),
      empty_(separator_ + std::string(kWidestFast + kSlack, ' ')),
      gathered_([this](std::string_view text) { write(text); }) {
  columns_.reserve(widths.size());
  for (const std::size_t width : widths) {
    const std::size_t lead = columns_.empty() ? 0 : separator_.size();
    columns_.push_back({width, lead + width, empty_.data() + separator_.size() - lead});
  }
}

void ColumnPrinter::printLine(std::string_view text) {
  gathered_.append(text);
  gathered_.append("\n");
}

void ColumnPrinter::printHeader(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    PW_LOG(kTextLog, PW_LOG_INFO, "INFO: Column width=%llu\n",
           static_cast<unsigned long long>(widths_[column_]));
    printAnyCell(name, column_ > 0);
  }
  gathered_.append("\n");
  column_ = 0;
}

void ColumnPrinter::printCell(std::string_view text) {
  if (column_ >= columnCount_) return printAnyCell(text, column_ > 0);
  const Column& column = columns_[column_];
  if (text.size() > column.width || column.size > kWidestFast) {
    return printAnyCell(text, column_ > 0);
  }
  ++column_;
  // An empty cell, and the text over it. What they leave behind themselves is overwritten next.
  char* const cell = gathered_.extend(column.size);
  copyAtLeast<32>(cell, column.empty, column.size);
  copyAtLeast<16>(cell + column.size - text.size(), text.data(), text.size());
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
  while (column_ < columnCount_) printAnyCell(placeholder_, true);
  *gathered_.extend(1) = '\n';
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
