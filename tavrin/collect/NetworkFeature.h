#pragma once

#include "tavrin/collect/CounterFileFeature.h"

namespace tavrin {

/// What each network interface has received and sent, from the table /proc/net/dev as
/// Documentation/filesystems/proc.rst has it: bytes, packets, and packets that were faulty or
/// dropped. Interfaces made of others (bridges, tunnels) count again what those have counted.
class NetworkFeature : public CounterFileFeature {
 public:
  NetworkFeature();

 private:
  void readLine(std::string_view line, CounterTable& things) override;
  std::vector<CounterMetric> describeMetrics() const override;
};

}  // namespace tavrin
