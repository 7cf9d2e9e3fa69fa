#include "tavrin/stream/ValueWriter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tavrin {

void ValueWriter::reference(std::string_view name, const pwr::UniqueId* description) {
  if (description != nullptr) records_.required(name, ids_.of(*description));
}

void ValueWriter::reference(const pwr::UniqueId* description) {
  if (description == nullptr) {
    records_.null();
  } else {
    records_.integer(ids_.of(*description));
  }
}

void ValueWriter::data(const pwr::Data& value) {
  long long integer = 0;
  unsigned long long natural = 0;
  double real = 0.0;
  std::string text;
  const pwr::DataHandle* handle = nullptr;
  switch (value.getType()) {
    case pwr::DataType::None:
      records_.null();
      return;
    case pwr::DataType::Int:
      value.toInt(integer);
      // A plain number that is not negative reads back as unsigned.
      if (integer < 0) return records_.integer(integer);
      records_.beginObject();
      records_.required("int", integer);
      records_.endObject();
      return;
    case pwr::DataType::UInt:
      value.toUInt(natural);
      return records_.integer(natural);
    case pwr::DataType::Real:
      value.toReal(real);
      return records_.real(real);
    case pwr::DataType::String:
      value.toString(text);
      return records_.text(text);
    case pwr::DataType::Handle:
      value.toHandle(handle);
      records_.beginObject();
      records_.key("handle");
      reference(handle);
      records_.endObject();
      return;
    default:
      range(value);
  }
}

template <typename Pair, typename Write>
void ValueWriter::tagged(std::string_view tag, const Pair& ends, Write write) {
  records_.beginObject();
  records_.key(tag);
  records_.beginArray();
  write(ends.first);
  write(ends.second);
  records_.endArray();
  records_.endObject();
}

void ValueWriter::range(const pwr::Data& value) {
  const auto writeInteger = [this](auto end) { records_.integer(end); };
  pwr::Data::IntPair integers;
  pwr::Data::UIntPair naturals;
  pwr::Data::RealPair reals;
  if (value.toIntRange(integers) == 0) {
    tagged("intRange", integers, writeInteger);
  } else if (value.toUIntRange(naturals) == 0) {
    tagged("uintRange", naturals, writeInteger);
  } else if (value.toRealRange(reals) == 0) {
    tagged("realRange", reals, [this](double end) { records_.real(end); });
  }
}

void ValueWriter::attribute(const pwr::UniqueId& attribute, const pwr::Data& value) {
  records_.beginArray();
  reference(&attribute);
  data(value);
  records_.endArray();
}

void ValueWriter::attributes(std::string_view name, const pwr::AttributeValueManager& attributes) {
  records_.key(name);
  records_.array(attributes, [this](const auto& pair) { attribute(*pair.first, pair.second); });
}

void ValueWriter::notes(const pwr::TextNotes* notes) {
  if (notes == nullptr) return;
  std::vector<std::string> before;
  std::vector<std::string> after;
  notes->getPreTableNotes(before);
  notes->getPostTableNotes(after);
  const auto writeLine = [this](const std::string& line) { records_.text(line); };
  records_.key("notes");
  records_.beginObject();
  records_.array("before", before, writeLine);
  records_.array("after", after, writeLine);
  records_.endObject();
}

}  // namespace tavrin
