#include "exporters/lines/LineTally.h"

#include <utility>

#include "writers/common/TextLog.h"

namespace lines {

bool LineTally::take(std::uint64_t count) {
  if (count <= most_ - taken_) {
    taken_ += count;
    return true;
  }
  if (!std::exchange(isReached_, true)) {
    PW_LOG(kPlainLog, PW_LOG_WARNING,
           "WARNING: The lines have %llu series, as many as --series-limit allows: further "
           "processes and states are in \"others\", all else is left out.\n",
           static_cast<unsigned long long>(taken_));
  }
  return false;
}

void LineTally::noteLargeInteger(const std::string& metric) {
  if (std::exchange(hasToldOfIntegers_, true)) return;
  PW_LOG(kPlainLog, PW_LOG_WARNING,
         "WARNING: Integers of %s are beyond 2^53: their last digits are lost, as all numbers of "
         "lines are reals.\n",
         metric.c_str());
}

void LineTally::tell() const {
  const std::pair<std::uint64_t, const char*> losses[] = {
      {folded, "values of further processes and states are in \"others\" (--series-limit)"},
      {beyond, "values of further series are left out (--series-limit)"},
      {notFinite, "values are left out: they are not finite"},
      {sameTime, "values have the series and the time of another one, of which engines keep one"},
      {outOfTime, "values are left out: they are of before 1970 or after 2262"},
      {cutTexts, "texts of tags are cut"},
      {attributes, "attributes are left out: their metrics have too many"},
  };
  for (const auto& [count, what] : losses) {
    if (count == 0) continue;
    PW_LOG(kPlainLog, PW_LOG_WARNING, "WARNING: Lines: %llu %s.\n",
           static_cast<unsigned long long>(count), what);
  }
}

}  // namespace lines
