#pragma once

#include "writers/host/HostApi.h"

namespace pwr {

/// Base of everything that a host hands to a writer. A message, and what it points to except
/// descriptions, is valid only during the call that delivers it, unless its class says otherwise.
class PW_HOST_API Message {
 public:
  virtual ~Message();

  /// The message's own identifier. That of a `SystemMessage` is 0 and so below every metric id.
  unsigned long long getId() const { return id_; }

 protected:
  explicit Message(unsigned long long id) : id_(id) {}
  Message(const Message&) = default;
  Message& operator=(const Message&) = default;

 private:
  unsigned long long id_;
};

}  // namespace pwr
