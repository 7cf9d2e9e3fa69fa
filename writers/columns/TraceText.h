#pragma once

#include <array>
#include <string>
#include <string_view>

#include "hostcommon/NumberText.h"
#include "writers/host/Data.h"

/// The text of a cell, which is nearly always that of a number: those are written where they are
/// read, without going through a string.
class TraceText {
 public:
  TraceText() = default;
  TraceText(const TraceText&) = delete;
  TraceText& operator=(const TraceText&) = delete;

  /// Valid until the text is set again.
  std::string_view view() const { return view_; }
  bool empty() const { return view_.empty(); }
  void clear() { view_ = {}; }

  /// A number as cells show it: with two decimals.
  void setNumber(double number) {
    char* const end = number_.data() + number_.size();
    if (const char* const first = pwr::putTwoDecimals(end, number); first != nullptr) {
      view_ = {first, static_cast<std::size_t>(end - first)};
    } else {
      text_.clear();
      pwr::appendFixed(text_, number, 2);
      view_ = text_;
    }
  }
  void setText(std::string text) {
    text_ = std::move(text);
    view_ = text_;
  }
  /// A value as reports show it. Returns false, leaving the text undefined, when there is none.
  bool setValue(const pwr::Data& value) {
    double number = 0.0;
    if (value.getType() == pwr::DataType::Real && value.toReal(number) == 0) {
      setNumber(number);
      return true;
    }
    const bool hasText = value.toFormattedString(text_) == 0;
    view_ = text_;
    return hasText;
  }

 private:
  std::array<char, pwr::kTwoDecimalsRoom> number_{};
  std::string text_;  // of all others; kept for its memory
  std::string_view view_;
};
