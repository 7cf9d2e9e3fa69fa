#include "tavrin/collect/Counting.h"

#include <unistd.h>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Interval.h"

namespace tavrin {

const pwr::Quantity* createBytesQuantity() {
  const pwr::Quantity* rate =
      pwr::createQuantity({.type = pwr::QuantityType::Rate, .name = "Data Rate", .units = "B/s"});
  return pwr::createQuantity(
      {.type = pwr::QuantityType::Size, .name = "Data", .units = "B", .rate = rate});
}

const pwr::Quantity* createEventsQuantity() {
  const pwr::Quantity* rate =
      pwr::createQuantity({.type = pwr::QuantityType::Rate, .name = "Rate", .units = "/s"});
  return pwr::createQuantity(
      {.type = pwr::QuantityType::Count, .name = "Count", .units = "count", .rate = rate});
}

unsigned long long ticksPerJiffy() {
  static const unsigned long long ticks =
      kTicksPerSecond / static_cast<unsigned long long>(sysconf(_SC_CLK_TCK));
  return ticks;
}

}  // namespace tavrin
