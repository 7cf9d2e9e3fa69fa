#include "writers/host/UniqueId.h"

#include <atomic>

namespace pwr {

UniqueId::UniqueId() {
  static std::atomic<unsigned long long> lastId{0};
  id_ = ++lastId;
}

}  // namespace pwr
