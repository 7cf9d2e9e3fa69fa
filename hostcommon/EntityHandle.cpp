#include "writers/host/EntityHandle.h"

#include "hostcommon/Descriptions.h"
#include "hostcommon/ImmortalStore.h"

namespace pwr {

EntityHandle::EntityHandle(EntityDescription description) : description_(std::move(description)) {}

EntityHandle::~EntityHandle() = default;

std::string EntityHandle::getQualifiedName() const {
  if (getParent() == nullptr) return getName();
  return getParent()->getQualifiedName() + "/" + getName();
}

const EntityHandle* createEntity(EntityDescription description) {
  return ImmortalStore<EntityHandle>::instance().keep(
      std::unique_ptr<const EntityHandle>(new EntityHandle(std::move(description))));
}

}  // namespace pwr
