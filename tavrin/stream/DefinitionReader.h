#pragma once

#include <memory>
#include <string_view>

#include "tavrin/stream/DefinitionTable.h"

namespace tavrin {

/// Creates the descriptions that the definition records of a stream tell of, each when its record
/// is read: process ids then ascend in the order of the records.
class DefinitionReader {
 public:
  /// Returns false when `type` is not that of a definition. Throws StreamError when the record is
  /// not as it should be.
  bool read(std::string_view type, const json::Value& record);

  const DefinitionTable& table() const { return table_; }

 private:
  void quantity(const json::Value& value);
  void attribute(const json::Value& value);
  void descriptor(const json::Value& value);
  void handle(const json::Value& value);
  void entity(const json::Value& value);
  void metric(const json::Value& value);
  void tableDescription(const json::Value& value);
  pwr::AttributeValueManager attributesOf(const JsonObject& record) const;
  std::shared_ptr<const pwr::Field> group(const JsonObject& record, std::string_view member) const;

  DefinitionTable table_;
};

/// The notes of a record; null when it has none.
std::shared_ptr<const pwr::TextNotes> readNotes(const JsonObject& record);

}  // namespace tavrin
