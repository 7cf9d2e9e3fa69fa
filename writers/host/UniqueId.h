#pragma once

#include "writers/host/HostApi.h"

namespace pwr {

/// Gives every description (quantity, handle, attribute, entity) an identifier that is unique in
/// the process, never 0 and never reused. Ids are handed out in ascending order of construction,
/// so two runs that create the same descriptions in the same order see the same ids. A copy has
/// the id of its original.
class PW_HOST_API UniqueId {
 public:
  UniqueId();
  unsigned long long getId() const { return id_; }

 private:
  unsigned long long id_;
};

}  // namespace pwr
