#pragma once

#include <string>

#include "writers/host/EntityHandle.h"

/// What the continuous formats call an entity: its qualified name, since two packages may both have
/// a "Core0". Empty without an entity.
inline std::string nameOf(const pwr::EntityHandle* entity) {
  return entity == nullptr ? std::string() : entity->getQualifiedName();
}
