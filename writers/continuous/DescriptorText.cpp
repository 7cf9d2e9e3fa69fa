#include "writers/continuous/DescriptorText.h"

#include "writers/host/Data.h"

std::string descriptorText(const pwr::DataHandle& handle) {
  std::string text;
  if (handle.getAttributes().getAttributeCount() == 0) return text;
  const pwr::Data& value = handle.getAttributes().begin()->second;
  if (value.getType() != pwr::DataType::Handle) value.toString(text);
  return text;
}
