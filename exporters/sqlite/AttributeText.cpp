#include "exporters/sqlite/AttributeText.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>

#include "hostcommon/Utf8Text.h"
#include "writers/common/EventAttributes.h"
#include "writers/host/Attribute.h"

namespace sqlite {

namespace {

/// One object, made as its members come.
class JsonObject {
 public:
  void add(const std::string& name, const pwr::Data& value) {
    if (isEmpty_) writer_.StartObject();
    isEmpty_ = false;
    addText(name);
    addValue(value);
  }
  /// Appends the object to `text`, if anything was added.
  void endInto(std::string& text) {
    if (isEmpty_) return;
    writer_.EndObject();
    text.append(buffer_.GetString(), buffer_.GetSize());
  }

 private:
  void addText(const std::string& text) {
    const std::string valid = pwr::validUtf8(text);
    writer_.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
  }

  void addValue(const pwr::Data& value) {
    long long integer = 0;
    unsigned long long natural = 0;
    double real = 0.0;
    std::string text;
    switch (value.getType()) {
      case pwr::DataType::None:
        writer_.Null();
        return;
      case pwr::DataType::Int:
        value.toInt(integer);
        writer_.Int64(integer);
        return;
      case pwr::DataType::UInt:
        value.toUInt(natural);
        writer_.Uint64(natural);
        return;
      case pwr::DataType::Real:
        value.toReal(real);
        std::isfinite(real) ? writer_.Double(real) : writer_.Null();
        return;
      default:
        value.toString(text);
        addText(text);
    }
  }

  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer> writer_{buffer_};
  bool isEmpty_ = true;
};

}  // namespace

void appendAttributes(std::string& text, const pwr::DataElement& element) {
  if (element.getAttributes() == nullptr && element.getAdditionalInfo() == nullptr) return;
  JsonObject object;
  forEachAttribute(element, [&](const std::string& name, const pwr::Quantity* /*quantity*/,
                                const pwr::Data& value) { object.add(name, value); });
  object.endInto(text);
}

std::string attributesText(const pwr::AttributeValueManager& attributes) {
  JsonObject object;
  for (const auto& [attribute, value] : attributes) object.add(attribute->getName(), value);
  std::string text;
  object.endInto(text);
  return text;
}

}  // namespace sqlite
