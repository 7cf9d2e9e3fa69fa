#include "tavrin/ship/QueuedFile.h"

#include <algorithm>
#include <tuple>

namespace tavrin {

namespace {

bool isDigit(char letter) {
  return letter >= '0' && letter <= '9';
}

/// Takes the digits off the front of a text, and returns them without leading zeros.
std::string_view takeDigits(std::string_view& text) {
  const auto* const end = std::find_if_not(text.begin(), text.end(), isDigit);
  std::string_view digits(text.begin(), end);
  text.remove_prefix(digits.size());
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  return digits;
}

}  // namespace

bool isNameBefore(std::string_view one, std::string_view other) {
  std::string_view a = one;
  std::string_view b = other;
  while (!a.empty() && !b.empty()) {
    if (isDigit(a.front()) && isDigit(b.front())) {
      const std::string_view left = takeDigits(a);
      const std::string_view right = takeDigits(b);
      if (left != right) {
        return std::make_tuple(left.size(), left) < std::make_tuple(right.size(), right);
      }
      continue;
    }
    if (a.front() != b.front()) return a.front() < b.front();
    a.remove_prefix(1);
    b.remove_prefix(1);
  }
  if (a.empty() != b.empty()) return a.empty();
  return one < other;  // they differ in leading zeros at most
}

bool FileOrder::operator<(const FileOrder& other) const {
  return modified != other.modified ? modified < other.modified : isNameBefore(name, other.name);
}

}  // namespace tavrin
