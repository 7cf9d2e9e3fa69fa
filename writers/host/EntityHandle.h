#pragma once

#include <string>

#include "writers/host/DataHandle.h"
#include "writers/host/HostApi.h"
#include "writers/host/UniqueId.h"

namespace pwr {

/// What an `EntityHandle` is made of.
struct EntityDescription {
  std::string name;   ///< short name, such as "CPU3"
  std::string level;  ///< "Package", "Module", "Core", "Thread", or the kind of device
  const class EntityHandle* parent = nullptr;
  AttributeValueManager attributes;
};

/// A thing that values are measured on: a package, a module, a core, a hardware thread, a thermal
/// zone. Descriptions are immutable and live as long as the process; a copy has the same id.
class PW_HOST_API EntityHandle : public UniqueId {
 public:
  EntityHandle(const EntityHandle&) = default;
  EntityHandle& operator=(const EntityHandle&) = delete;
  virtual ~EntityHandle();

  const std::string& getName() const { return description_.name; }
  /// The name behind those of all its parents, joined by "/": "Package0/Core1/CPU3".
  virtual std::string getQualifiedName() const;
  const std::string& getLevel() const { return description_.level; }
  /// Null for a top-level entity.
  const EntityHandle* getParent() const { return description_.parent; }
  const AttributeValueManager& getAttributes() const { return description_.attributes; }

 private:
  friend PW_HOST_API const EntityHandle* createEntity(EntityDescription description);
  explicit EntityHandle(EntityDescription description);

  const EntityDescription description_;
};

}  // namespace pwr
