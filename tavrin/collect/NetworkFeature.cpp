#include "tavrin/collect/NetworkFeature.h"

#include <array>

#include "tavrin/collect/Counting.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

/// The columns behind the name of the interface, as far as they are used.
enum NetworkColumn : std::size_t {
  kReceivedBytes = 0,
  kReceivedPackets = 1,
  kReceiveErrors = 2,
  kReceiveDrops = 3,
  kSentBytes = 8,
  kSentPackets = 9,
  kSendErrors = 10,
  kSendDrops = 11,
  kNetworkColumns = 12,
};

}  // namespace

NetworkFeature::NetworkFeature()
    : CounterFileFeature("network", "Network", "Bytes, packets and faults of network interfaces",
                         {.path = "/proc/net/dev",
                          .level = "Interface",
                          .counters = kNetworkColumns,
                          .unused = "no interface in /proc/net/dev has been used"}) {}

std::vector<CounterMetric> NetworkFeature::describeMetrics() const {
  const pwr::Quantity* const events = createEventsQuantity();
  return {
      {"Network Data",
       createBytesQuantity(),
       {{kReceivedBytes, "received", ""}, {kSentBytes, "sent", ""}}},
      {"Network Packets", events, {{kReceivedPackets, "received", ""}, {kSentPackets, "sent", ""}}},
      {"Network Faults",
       events,
       {{kReceiveErrors, "receive errors", "Packets that arrived damaged"},
        {kReceiveDrops, "receive drops", "Packets that arrived and were not taken"},
        {kSendErrors, "send errors", "Packets that could not be sent"},
        {kSendDrops, "send drops", "Packets that were given up before they were sent"}}},
  };
}

/// The name ends at the last colon, which the number may follow at once; headings have none.
void NetworkFeature::readLine(std::string_view line, CounterTable& things) {
  const std::size_t colon = line.rfind(':');
  if (colon == std::string_view::npos) return;
  const std::string_view name = trimmed(line.substr(0, colon));
  line.remove_prefix(colon + 1);
  std::array<unsigned long long, kNetworkColumns> counts{};
  std::size_t count = 0;
  while (count < kNetworkColumns && takeNumber(line, counts[count])) ++count;
  if (count == kNetworkColumns) things.note(name, counts);
}

}  // namespace tavrin
