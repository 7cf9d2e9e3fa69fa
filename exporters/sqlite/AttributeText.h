#pragma once

#include <string>

#include "writers/host/DataHandle.h"
#include "writers/host/Metric.h"

namespace sqlite {

/// Appends the attributes of a data element as a JSON object, those that the metric announces
/// first; nothing when there are none. What is not finite is null.
void appendAttributes(std::string& text, const pwr::DataElement& element);

/// The attributes of a description in the same form; "" when there are none.
std::string attributesText(const pwr::AttributeValueManager& attributes);

}  // namespace sqlite
