#pragma once

#include <string>
#include <utility>
#include <vector>

#include "writers/host/Data.h"
#include "writers/host/DataHandle.h"
#include "writers/host/HostApi.h"

namespace pwr {

class Quantity;

/// What an attribute's values are. The number of Info is part of the host interface.
enum class AttributeType : int {
  Int = 0,
  UInt = 1,
  Real = 2,
  String = 3,
  Handle = 4,
  Info = 5,
};

/// A named, typed attribute that can be attached to an entity, a descriptor, a metric's values or
/// one event. It is itself a handle: `DataHandle::get` finds it by its id, which is how the keys of
/// a `DynamicAttributeValueManager` are resolved.
class PW_HOST_API Attribute : public DataHandle {
 public:
  /// Creates a new attribute that lives as long as the process. Every call gives a new one with an
  /// id of its own, also under a name that is in use. `quantity` may be null.
  static const Attribute* create(const std::string& name, const Quantity* quantity,
                                 AttributeType type);

  AttributeType getAttributeType() const { return attributeType_; }

 private:
  Attribute(const std::string& name, const Quantity* quantity, AttributeType type);

  AttributeType attributeType_;
};

/// The attributes that a description announces, without values.
class PW_HOST_API ExpectedAttributeManager {
 public:
  void addAttribute(const Attribute* attribute) { attributes_.push_back(attribute); }

  unsigned int getAttributeCount() const { return static_cast<unsigned int>(attributes_.size()); }
  auto begin() const { return attributes_.begin(); }
  auto end() const { return attributes_.end(); }

 private:
  std::vector<const Attribute*> attributes_;
};

/// Values that belong to one event only, each under the id of its attribute, in the order added.
class PW_HOST_API DynamicAttributeValueManager {
 public:
  void addAttributeValue(unsigned long long key, const Data& value) {
    values_.emplace_back(key, value);
  }

  auto begin() const { return values_.begin(); }
  auto end() const { return values_.end(); }

 private:
  std::vector<std::pair<unsigned long long, Data>> values_;
};

}  // namespace pwr
