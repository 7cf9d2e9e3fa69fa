#pragma once

#include <string>
#include <string_view>

#include "hostcommon/NumberText.h"
#include "hostcommon/TwoDecimals.h"
#include "writers/host/Data.h"

/// What a cell shows, which is nearly always a number: those are written to the table without going
/// through a text.
class CellText {
 public:
  /// Whether it is `number()`; otherwise it is `text()`.
  bool isNumber() const { return number_.isCovered(); }
  const pwr::TwoDecimals& number() const { return number_; }
  std::string_view text() const { return text_; }

  // Texts are made in `memory`, and stay there: it has to be left alone as long as they are used.

  /// A number as cells show it: with two decimals.
  void setNumber(double number, std::string& memory) {
    number_.set(number);
    if (isNumber()) return;
    memory.clear();
    pwr::appendFixed(memory, number, 2);
    text_ = memory;
  }
  void setText(std::string_view text) {
    number_ = {};
    text_ = text;
  }
  /// A value as reports show it. Returns false, leaving the text undefined, when there is none.
  bool setValue(const pwr::Data& value, std::string& memory) {
    double number = 0.0;
    if (value.getType() == pwr::DataType::Real && value.toReal(number) == 0) {
      setNumber(number, memory);
      return true;
    }
    const bool hasText = value.toFormattedString(memory) == 0;
    setText(memory);
    return hasText;
  }

 private:
  pwr::TwoDecimals number_;
  std::string_view text_;
};
