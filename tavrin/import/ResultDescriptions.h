#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "readers/ResultReader.h"
#include "writers/host/Metric.h"
#include "writers/host/Quantity.h"

namespace tavrin {

/// What the points of a result refer to, as the writers know it. Descriptions are made when they
/// are first asked for.
class ResultDescriptions {
 public:
  /// `reader` is not owned. `clockMHz`: ticks per microsecond.
  ResultDescriptions(const ResultReader& reader, unsigned int clockMHz)
      : reader_(reader), clockMHz_(clockMHz) {}

  /// Positions are those that the reader gives.
  pwr::Metric& metric(std::uint32_t place);
  pwr::DataElement element(const Point& point);

  /// Start and end of a point; the same where its length is unknown or not a time.
  std::uint64_t ticksOf(const Point& point) const;
  std::uint64_t endOf(const Point& point) const;

 private:
  std::unique_ptr<pwr::Metric> createMetric(const Metric& metric);
  const pwr::Quantity* quantityOf(const Metric& metric);
  const pwr::EntityHandle* entity(std::uint32_t place);
  const pwr::EntityHandle* child(const pwr::EntityHandle* parent, std::string_view name);
  const pwr::EntityHandle* entityOfName(std::string_view qualifiedName);
  const pwr::DataDescriptor* descriptor(const std::string& name, std::string_view text,
                                        std::string_view description);
  const pwr::DataDescriptor* descriptorOf(const Series& series);
  pwr::Data valueOf(const Point& point, const Series& series) const;
  pwr::Data countOf(double value, const Metric& metric) const;
  bool hasFiniteSet(const Metric& metric) const;
  bool hasStateTexts(const Metric& metric) const;
  void addInfo(const Point& point, pwr::DataElement& element);
  const pwr::Attribute* attribute(const std::string& name, pwr::AttributeType type);
  std::uint64_t durationOf(const Point& point) const;

  const ResultReader& reader_;
  const unsigned int clockMHz_;
  std::vector<std::unique_ptr<pwr::Metric>> metrics_;
  std::map<std::string, unsigned int, std::less<>> containers_;  ///< by feature
  std::map<std::pair<std::string, std::string>, const pwr::Quantity*> quantities_;
  std::vector<const pwr::EntityHandle*> entities_;
  std::map<std::pair<const pwr::EntityHandle*, std::string>, const pwr::EntityHandle*> children_;
  std::map<std::pair<std::string, std::string>, const pwr::DataDescriptor*> descriptors_;
  std::vector<const pwr::DataDescriptor*> seriesDescriptors_;
  std::map<std::string, const pwr::Attribute*> attributes_;
};

}  // namespace tavrin
