#pragma once

#include <string>

#include "writers/host/Data.h"
#include "writers/host/HostApi.h"

namespace pwr {

/// Writes real values with a fixed number of decimals, independent of the process locale.
class PW_HOST_API RealFormatter {
 public:
  /// `width`: least number of characters, filled with blanks on the left (0 for none).
  /// `precision`: digits behind the decimal point.
  RealFormatter(int width, int precision);
  virtual ~RealFormatter();

  /// Replaces `out` by the text of `value`, rounded half to even on the exact binary value as
  /// printf does; "inf", "-inf" or "nan" when it is not finite. Returns 1, leaving `out` alone,
  /// when the value has no real value.
  virtual int format(std::string& out, const Data& value) const;

 private:
  int width_;
  int precision_;
};

}  // namespace pwr
