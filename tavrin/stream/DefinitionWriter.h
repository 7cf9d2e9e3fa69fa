#pragma once

#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "tavrin/stream/RecordWriter.h"
#include "tavrin/stream/StreamIds.h"
#include "tavrin/stream/ValueWriter.h"
#include "writers/host/Metric.h"
#include "writers/host/TableMessage.h"

namespace tavrin {

/// Writes the definitions of what messages refer to. Before a message is written, `need` is called
/// for all that it mentions and then `write` once. What is defined already costs one look into an
/// array.
///
/// Definitions are written in the order in which the descriptions were created, so that a reader
/// that creates them one by one hands out ids in the same order.
class DefinitionWriter {
 public:
  /// Nothing is owned. `values` writes with the same records and ids.
  DefinitionWriter(RecordWriter& records, StreamIds& ids, ValueWriter& values)
      : records_(records), ids_(ids), values_(values) {}

  /// A description brings along all that it refers to. Null is allowed, but not for a metric. What
  /// the parts of a part refer to is found by `write`: chains may be of any length.
  void need(const pwr::Quantity* quantity);
  void need(const pwr::DataHandle* handle);
  void need(const pwr::EntityHandle* entity);
  void need(const pwr::MetricDescription* metric);
  void need(const pwr::TableDescription& table);
  void need(const pwr::Data& value);
  void need(const pwr::AttributeValueManager& attributes);

  /// Writes what is needed and not defined yet.
  void write();
  /// Defines the table unless the same one is defined already; returns its id.
  unsigned long long writeTable(const pwr::TableMessage& table);

  unsigned long long idOf(const pwr::MetricDescription& metric) const {
    return metricIds_[metric.id];
  }

 private:
  using Pending =
      std::variant<const pwr::Quantity*, const pwr::DataHandle*, const pwr::EntityHandle*>;

  void needParts(const pwr::Quantity& quantity);
  void needParts(const pwr::DataHandle& handle);
  void needParts(const pwr::EntityHandle& entity);
  void define(const pwr::Quantity& quantity);
  void define(const pwr::DataHandle& handle);
  void define(const pwr::EntityHandle& entity);
  void define(const pwr::MetricDescription& metric);
  void needGroup(const pwr::Field* group);
  void group(std::string_view name, const pwr::Field* group);
  void describeTable(const pwr::TableMessage& table);

  RecordWriter& records_;
  StreamIds& ids_;
  ValueWriter& values_;
  std::vector<unsigned long long> metricIds_;
  std::vector<Pending> pending_;
  std::vector<const pwr::MetricDescription*> pendingMetrics_;
  // By all that the record says behind the id. Messages do not tell whether their descriptions are
  // the same one, and an address may be reused.
  std::unordered_map<std::string, unsigned long long> tables_;
};

}  // namespace tavrin
