#pragma once

#include <string_view>

#include "tavrin/stream/RecordWriter.h"
#include "tavrin/stream/StreamIds.h"
#include "writers/host/DataHandle.h"
#include "writers/host/TextNotes.h"

namespace tavrin {

/// Writes parts of the record that is being written: values, and references to descriptions that
/// are defined already.
class ValueWriter {
 public:
  /// Nothing is owned.
  ValueWriter(RecordWriter& records, const StreamIds& ids) : records_(records), ids_(ids) {}

  /// A member that is left out for null.
  void reference(std::string_view name, const pwr::UniqueId* description);
  /// An item that is null for null.
  void reference(const pwr::UniqueId* description);
  void data(const pwr::Data& value);
  /// A pair of attribute and value.
  void attribute(const pwr::UniqueId& attribute, const pwr::Data& value);
  void attributes(std::string_view name, const pwr::AttributeValueManager& attributes);
  /// The member "notes"; left out for null.
  void notes(const pwr::TextNotes* notes);

 private:
  template <typename Pair, typename Write>
  void tagged(std::string_view tag, const Pair& ends, Write write);
  void range(const pwr::Data& value);

  RecordWriter& records_;
  const StreamIds& ids_;
};

}  // namespace tavrin
