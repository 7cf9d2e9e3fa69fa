#pragma once

#include <string>

#include "writers/host/HostApi.h"
#include "writers/host/Message.h"

namespace pwr {

/// Names an identifier of the run, such as the id of a collection.
class PW_HOST_API IdMessage : public Message {
 public:
  IdMessage(unsigned long long id, std::string name);
  ~IdMessage() override;

  const std::string& getName() const { return name_; }

 private:
  std::string name_;
};

}  // namespace pwr
