#pragma once

#include <memory>
#include <string>
#include <vector>

#include "writers/host/Metric.h"
#include "writers/host/SystemMetadata.h"

/// Writes what has arrived so far, again and again in the course of an open-ended run.
class ContinuousWriter {
 public:
  /// A named node of descriptions: of a metric, or of the system.
  struct Metadata {
    /// A key with values. A value is a text or an entry without a key that stands for an object:
    /// its children are the object's members.
    struct Data {
      std::string key;
      std::vector<std::string> values;
      std::vector<std::shared_ptr<const Data>> children;
    };

    std::string featureName;
    std::string name;
    int id = -1;  ///< of the metric; -1 for a node that describes none
    std::vector<std::shared_ptr<const Data>> children;
  };

  ContinuousWriter() = default;
  ContinuousWriter(const ContinuousWriter&) = delete;
  ContinuousWriter& operator=(const ContinuousWriter&) = delete;
  virtual ~ContinuousWriter();

  /// Writes one more file. False when it could not be written completely.
  virtual bool write(const pwr::SystemMetadata& system) = 0;
};

/// What a continuous document tells of the system and the collection so far.
std::shared_ptr<const ContinuousWriter::Metadata> describeSystem(const pwr::SystemMetadata& system);

/// What a continuous document tells of a metric, under the metric's own name.
std::shared_ptr<const ContinuousWriter::Metadata> describeMetric(const pwr::Metric& metric);
