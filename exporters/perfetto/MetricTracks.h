#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "exporters/common/MetricMeaning.h"
#include "exporters/perfetto/SeriesTracks.h"
#include "exporters/perfetto/Trace.h"
#include "writers/common/SeriesIndex.h"
#include "writers/host/Metric.h"

namespace pftrace {

/// The tracks of one metric: of each series a counter for its numbers, slices for its other values,
/// or instants where the metric is one of events.
class MetricTracks {
 public:
  MetricTracks(const pwr::Metric& metric, const TraceClock& clock);

  void add(Trace& trace, const pwr::Metric& metric);
  /// Ends what is open; at `end` (ticks) where nothing tells when.
  void close(Trace& trace, unsigned long long end);

 private:
  /// Whose a value without an entity is: a process, or what else an attribute names.
  struct Owner {
    std::optional<std::int32_t> pid;
    bool isThread = false;  ///< one of the process, not the process as a whole
    std::string name;

    bool isKnown() const { return pid || !name.empty(); }
  };
  /// An element, as far as it is in the run.
  struct Item {
    const pwr::DataElement& element;
    Span span;
    unsigned long long length;  ///< of all that it stands for
    std::optional<Owner> owner;
  };
  using OwnerKey = std::tuple<const pwr::DataDescriptor*, std::optional<std::int32_t>, std::string>;

  bool isEvent() const { return type_ == pwr::Metric::MetricType::TracedEvent; }
  bool isTransition() const { return type_ == pwr::Metric::MetricType::TracedValueTransition; }
  bool isReading(const Item& item) const;
  void addElement(Trace& trace, const pwr::DataElement& element, const Span& span);
  void addEvent(Trace& trace, SeriesTracks& series, const Item& item);
  void addNumber(Trace& trace, SeriesTracks& series, const Item& item);
  bool scale(Trace& trace, const Item& item, Amount& amount) const;
  void addState(Trace& trace, SeriesTracks& series, const Item& item);
  void collectAnnotations(const pwr::DataElement& element);
  bool isGap(const CounterTrack& counter, unsigned long long time) const;
  void addGap(Trace& trace, unsigned long long from, unsigned long long to);
  void leaveOut(Trace& trace, const pwr::DataElement& element, const char* cause) const;

  SeriesTracks& find(Trace& trace, const Item& item);
  SeriesTracks& findOwned(Trace& trace, const pwr::DataDescriptor* descriptor, const Owner& owner);
  std::optional<Owner> ownerOf(const pwr::DataElement& element) const;
  TrackPlace placeOf(Trace& trace, const pwr::EntityHandle* entity,
                     const pwr::DataDescriptor* descriptor) const;
  std::string nameOf(const pwr::DataDescriptor* descriptor) const;
  std::int32_t rankOf(const pwr::DataDescriptor* descriptor) const;

  const pwr::MetricDescription* const description_;
  const pwr::Metric::MetricType type_;
  const MetricMeaning meaning_;
  const CounterUnit unit_;
  /// Of values that are shown as shares of their lengths, or per second; none of others.
  const std::optional<CounterUnit> unitOfTime_;
  std::vector<const pwr::DataDescriptor*> descriptors_;  // different ones, in the order announced
  std::vector<std::unique_ptr<SeriesTracks>> series_;
  SeriesIndex<SeriesTracks*> index_;
  std::map<OwnerKey, SeriesTracks> owned_;
  std::unique_ptr<TrackSequence> gaps_;
  unsigned long long gapsEnd_ = 0;
  std::vector<Annotation> annotations_;  // of the element at hand
  pwr::Data lengthOfEvent_;
  std::string text_;
};

}  // namespace pftrace
