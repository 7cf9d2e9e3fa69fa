#include "tavrin/collect/SysRoot.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "tavrin/collect/OpenFile.h"
#include "tavrin/common/Refusals.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view takeDigits(std::string_view& text) {
  const auto end = std::ranges::find_if_not(text, isDigit);
  const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(digits.size());
  return digits;
}

/// Orders runs of digits by their value and everything else by its bytes.
bool naturallyLess(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    if (isDigit(a.front()) && isDigit(b.front())) {
      const std::string_view x = takeDigits(a);
      const std::string_view y = takeDigits(b);
      if (x.size() != y.size()) return x.size() < y.size();
      if (x != y) return x < y;
    } else {
      if (a.front() != b.front()) return a.front() < b.front();
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  return a.size() < b.size();
}

}  // namespace

int SysRoot::readText(std::string_view inside, std::string& text) const {
  OpenFile file(path(inside), OpenFile::Use::Once);
  std::string_view content;
  const int error = file.readText(content);
  if (error == 0) text = content;
  return error;
}

int SysRoot::readNumber(std::string_view inside, unsigned long long& value) const {
  return OpenFile(path(inside), OpenFile::Use::Once).readNumber(value);
}

int SysRoot::readNumber(std::string_view inside, long long& value) const {
  return OpenFile(path(inside), OpenFile::Use::Once).readNumber(value);
}

std::string SysRoot::readLine(std::string_view inside) const {
  std::string text;
  if (readText(inside, text) != 0) return {};
  std::string_view rest = text;
  return std::string(trimmed(takeLine(rest)));
}

std::vector<std::string> SysRoot::list(std::string_view folder) const {
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator entry(path(folder), error);
  if (error) Refusals::note(path(folder), error.value());
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  std::ranges::sort(names, naturallyLess);
  return names;
}

std::vector<unsigned int> SysRoot::listNumbered(std::string_view folder, std::string_view prefix,
                                                std::string_view suffix) const {
  std::vector<unsigned int> numbers;
  for (const std::string& name : list(folder)) {
    if (!name.starts_with(prefix)) continue;
    std::string_view rest = std::string_view(name).substr(prefix.size());
    unsigned int number = 0;
    if (takeNumber(rest, number) && rest == suffix) numbers.push_back(number);
  }
  return numbers;
}

}  // namespace tavrin
