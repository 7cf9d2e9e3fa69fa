#pragma once

#include <string>
#include <utility>

#include "writers/host/HostApi.h"

namespace pwr {

/// A named fact about the system: what it is called, its number, and what that number means.
class PW_HOST_API NameValuePair {
 public:
  NameValuePair(std::string infoName, unsigned int value, std::string valueDesc)
      : infoName_(std::move(infoName)), value_(value), valueDesc_(std::move(valueDesc)) {}

  const std::string& getInfoName() const { return infoName_; }
  const std::string& getValueDesc() const { return valueDesc_; }
  unsigned int getValue() const { return value_; }

 private:
  std::string infoName_;
  unsigned int value_;
  std::string valueDesc_;
};

}  // namespace pwr
