#include "exporters/sqlite/AttributeText.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>

#include "hostcommon/DataVisit.h"
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
    addValue(name);
    pwr::visitData(value, [this](const auto& one) { addValue(one); });
  }
  /// Appends the object to `text`, if anything was added.
  void endInto(std::string& text) {
    if (isEmpty_) return;
    writer_.EndObject();
    text.append(buffer_.GetString(), buffer_.GetSize());
  }

 private:
  void addValue(std::nullptr_t) { writer_.Null(); }
  void addValue(long long number) { writer_.Int64(number); }
  void addValue(unsigned long long number) { writer_.Uint64(number); }
  void addValue(double number) { std::isfinite(number) ? writer_.Double(number) : writer_.Null(); }
  void addValue(const std::string& text) {
    const std::string valid = pwr::validUtf8(text);
    writer_.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
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
