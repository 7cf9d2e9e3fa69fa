#include "tavrin/common/Owners.h"

namespace tavrin {

bool isListOfOwners(const pwr::MetricDescription& metric) {
  return metric.type == pwr::Metric::MetricType::TracedEvent && metric.valueGroup != nullptr &&
         metric.quantity != nullptr && metric.entities.empty();
}

std::string ownerName(const pwr::AttributeValueManager& attributes) {
  std::string name;
  for (const auto& [attribute, value] : attributes) {
    if (value.isNumeric()) continue;
    std::string text;
    value.toFormattedString(text);
    name += (name.empty() ? "" : " ") + text;
  }
  return name;
}

std::string numberedOwnerName(const pwr::AttributeValueManager& attributes) {
  std::string numbers;
  std::string last;
  for (const auto& [attribute, value] : attributes) {
    std::string text;
    value.toFormattedString(text);
    if (!value.isNumeric() || text == last) continue;
    numbers += (numbers.empty() ? "" : ", ") + text;
    last = text;
  }
  const std::string name = ownerName(attributes);
  return numbers.empty() ? name : name + " (" + numbers + ")";
}

}  // namespace tavrin
