#include "writers/host/EntityHandle.h"

#include <vector>

#include "hostcommon/Descriptions.h"
#include "hostcommon/ImmortalStore.h"

namespace pwr {

EntityHandle::EntityHandle(EntityDescription description) : description_(std::move(description)) {}

EntityHandle::~EntityHandle() = default;

std::string EntityHandle::getQualifiedName() const {
  std::vector<const EntityHandle*> chain;
  for (const EntityHandle* one = this; one != nullptr; one = one->getParent()) {
    chain.push_back(one);
  }
  std::string name = chain.back()->getName();
  while (chain.pop_back(), !chain.empty()) name.append("/").append(chain.back()->getName());
  return name;
}

const EntityHandle* createEntity(EntityDescription description) {
  return ImmortalStore<EntityHandle>::instance().keep(
      std::unique_ptr<const EntityHandle>(new EntityHandle(std::move(description))));
}

}  // namespace pwr
