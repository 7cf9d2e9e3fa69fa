#pragma once

#include <map>
#include <string>
#include <vector>

#include "tavrin/events/MetricGroup.h"

namespace tavrin {

/// Events that nothing is known of but their fields: a metric for each name, whose events have the
/// fields as attributes, and the task that ran. The value is the event's text where it has one,
/// else its name. Attributes are those of the first event of the name; others that come later are
/// told as additional ones.
class OtherGroup final : public MetricGroup {
 public:
  /// Events of further names have no metric, which one line tells.
  static constexpr std::size_t kMostMetrics = 1000;
  /// Fields of one name; further ones are left out, which one line tells.
  static constexpr std::size_t kMostFields = 256;

  OtherGroup(EventShared& shared, const Place& place)
      : shared_(shared), containerId_(place.containerId), tag_(place.tag) {}
  void add(const KernelEvent& event, pwr::MessageSink& sink) override;

 private:
  /// A field of the events of one name, with values of one type.
  struct KnownField {
    std::string name;
    std::size_t type;
    const pwr::Attribute* attribute;
  };
  struct Kind {
    TracedMetric metric;
    std::vector<KnownField> fields;
    std::size_t announced;  // the first ones
    bool hasTooMany = false;
  };

  Kind* find(const KernelEvent& event, const OtherEvent& what);
  Kind create(const std::string& name, const OtherEvent& what);
  std::size_t placeOf(Kind& kind, const KernelEvent& event, std::size_t expected,
                      const EventField& field);
  void deliver(Kind& kind, const KernelEvent& event, const OtherEvent& what,
               pwr::MessageSink& sink);

  EventShared& shared_;
  const unsigned int containerId_;
  const std::string tag_;
  std::map<std::string, Kind, std::less<>> kinds_;  // by the name of the event
  bool hasTooMany_ = false;
};

}  // namespace tavrin
