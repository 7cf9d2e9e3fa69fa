#include "writers/host/RealFormatter.h"

#include <algorithm>

#include "hostcommon/NumberText.h"

namespace pwr {

RealFormatter::RealFormatter(int width, int precision)
    : width_(std::max(width, 0)), precision_(std::max(precision, 0)) {}

RealFormatter::~RealFormatter() = default;

int RealFormatter::format(std::string& out, const Data& value) const {
  double real = 0.0;
  if (value.toReal(real) != 0) return 1;
  out.clear();
  appendFixed(out, real, precision_);
  if (const auto width = static_cast<std::size_t>(width_); out.size() < width) {
    out.insert(0, width - out.size(), ' ');
  }
  return 0;
}

}  // namespace pwr
