#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "writers/host/HostApi.h"

namespace pwr {

/// Thrown where a run cannot begin; its text is for the user.
class PW_HOST_API HostError : public std::runtime_error {
 public:
  enum class Cause {
    Request,  ///< what was asked for is not there, or contradicts itself
    Failure,  ///< a file could not be loaded, an output not opened
  };

  HostError(Cause cause, const std::string& message);
  ~HostError() override;
  HostError(const HostError&) = default;
  HostError& operator=(const HostError&) = default;

  Cause cause() const { return cause_; }

 private:
  Cause cause_;
};

/// Checks that every one of `names` is among `known`; throws HostError that lists the known ones
/// otherwise. `kind` names what they are ("writer").
PW_HOST_API void requireKnown(const std::vector<std::string>& names,
                              const std::vector<std::string>& known, const std::string& kind);

}  // namespace pwr
