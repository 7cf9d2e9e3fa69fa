#pragma once

#include "writers/host/TableMessage.h"

/// Calls `visit(entity, handle)` for every cell of a row in order; the entity is null for shared
/// cells and in tables without entities.
template <typename Visit>
void forEachCell(const pwr::TableMessage& table, const Visit& visit) {
  for (const pwr::DataHandle* handle : table.getSharedHandles()) visit(nullptr, handle);
  if (table.getEntities().empty()) {
    for (const pwr::DataHandle* handle : table.getHandles()) visit(nullptr, handle);
  }
  for (const pwr::EntityHandle* entity : table.getEntities()) {
    for (const pwr::DataHandle* handle : table.getHandles()) visit(entity, handle);
  }
}
