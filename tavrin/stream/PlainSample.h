#pragma once

#include <string_view>

#include "tavrin/stream/DefinitionTable.h"

namespace tavrin {

/// Reads sample records that are written in the ordinary way, straight from their text: the members
/// in the order of the page, and elements of numbers, plain texts or nothing, alone or with entity,
/// descriptor and duration. Nearly all lines of a stream are such ones, and a tree of JSON values
/// would take three to five times as long (replay in ./bench). What is written in any other way,
/// faulty records included, is left to those who read trees.
class PlainSample {
 public:
  /// No sample has more elements.
  static constexpr std::size_t kMostElements = 4'000'000;

  /// `known` is not owned.
  explicit PlainSample(const DefinitionTable& known) : known_(known) {}

  /// Fills the data point of the record's metric and returns the metric; null when the line is
  /// anything else. A NUL must follow the line.
  pwr::Metric* read(std::string_view line);

 private:
  pwr::Metric* readHead();
  bool readElements(std::vector<pwr::DataElement>& elements);
  bool readElement(pwr::DataElement& element);
  bool readValue(pwr::Data& value);
  bool readNumber(pwr::Data& value);
  bool readReal(const char* start, pwr::Data& value);
  bool readText(pwr::Data& value);
  bool readDuration(unsigned long long& duration);
  template <typename Description>
  bool readReference(const Description*& description);
  bool readDigits(unsigned long long& number);

  void skipBlanks();
  /// Skip blanks and what is wanted; false when it is not there.
  bool take(char wanted);
  bool take(std::string_view wanted);
  bool takeNull();

  const DefinitionTable& known_;
  const char* at_ = nullptr;   // what is next to be read
  const char* end_ = nullptr;  // the NUL
};

}  // namespace tavrin
