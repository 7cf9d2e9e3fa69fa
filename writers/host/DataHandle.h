#pragma once

#include <string>
#include <utility>
#include <vector>

#include "writers/host/Data.h"
#include "writers/host/HostApi.h"
#include "writers/host/UniqueId.h"

namespace pwr {

class Attribute;
class Quantity;

/// What a handle names. The number of State is part of the host interface.
enum class DataHandleType : int {
  Field = 0,       ///< a column of a table
  Attribute = 1,   ///< an `Attribute`
  Descriptor = 2,  ///< a `DataDescriptor`
  State = 9,       ///< a state that a metric can be in, such as a sleep state
};

/// Attributes with their values, in the order added.
class PW_HOST_API AttributeValueManager {
 public:
  /// Returns 1, adding nothing, when `attribute` is null.
  int addAttributeValue(const Attribute* attribute, const Data& value);

  unsigned int getAttributeCount() const { return static_cast<unsigned int>(values_.size()); }
  auto begin() const { return values_.begin(); }
  auto end() const { return values_.end(); }

 private:
  std::vector<std::pair<const Attribute*, Data>> values_;
};

/// What a `DataHandle` is made of.
struct DataHandleDescription {
  DataHandleType type = DataHandleType::Field;
  std::string name;
  std::string header;     ///< upper line of a column's heading; often empty
  std::string fieldName;  ///< lower line of a column's heading, with its unit
  const Quantity* quantity = nullptr;
  AttributeValueManager attributes;
};

/// A named handle for a field of a table, a state, an attribute or a descriptor. Immutable; lives
/// as long as the process once it is created.
class PW_HOST_API DataHandle : public UniqueId {
 public:
  /// Finds a handle by its id. Returns 0 and sets `out`, or 1 when no handle has that id.
  static int get(unsigned long long id, const DataHandle*& out);

  DataHandle(const DataHandle&) = delete;
  DataHandle& operator=(const DataHandle&) = delete;
  virtual ~DataHandle();

  const std::string& getName() const { return description_.name; }
  const std::string& getHeader() const { return description_.header; }
  const std::string& getFieldName() const { return description_.fieldName; }
  DataHandleType getHandleType() const { return description_.type; }
  /// The quantity of the handle's values; null when they have none.
  const Quantity* getQuantity() const { return description_.quantity; }
  const AttributeValueManager& getAttributes() const { return description_.attributes; }

 protected:
  explicit DataHandle(DataHandleDescription description);

 private:
  friend PW_HOST_API const DataHandle* createHandle(DataHandleDescription description);

  const DataHandleDescription description_;
};

}  // namespace pwr
