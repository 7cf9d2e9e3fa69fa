#pragma once

#include <string>

#include "writers/host/DataHandle.h"
#include "writers/host/HostApi.h"

namespace pwr {

/// Collects what a descriptor is made of.
class PW_HOST_API DataDescriptorBuilder {
 public:
  /// `name` says what one value of a data element is ("C6", "user", "Maximum"); `description` is a
  /// sentence about it and may be empty.
  DataDescriptorBuilder(const std::string& name, const std::string& description);
  virtual ~DataDescriptorBuilder();

  /// Attaches an attribute value, for example the sleep state's exit latency.
  void addAttributeValue(const Attribute* attribute, const Data& value) {
    attributes_.addAttributeValue(attribute, value);
  }

  const std::string& getName() const { return name_; }
  const std::string& getDescription() const { return description_; }
  const AttributeValueManager& getAttributes() const { return attributes_; }

 private:
  std::string name_;
  std::string description_;
  AttributeValueManager attributes_;
};

/// Describes one value of a metric's data element. Immutable; lives as long as the process.
class PW_HOST_API DataDescriptor : public DataHandle {
 public:
  /// Every call gives a new descriptor with an id of its own.
  static const DataDescriptor* create(const DataDescriptorBuilder& builder);

  const std::string& getDescription() const { return text_; }

 private:
  explicit DataDescriptor(const DataDescriptorBuilder& builder);

  const std::string text_;
};

}  // namespace pwr
