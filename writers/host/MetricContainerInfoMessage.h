#pragma once

#include <memory>
#include <string>

#include "writers/host/HostApi.h"
#include "writers/host/Message.h"
#include "writers/host/TableMessage.h"
#include "writers/host/TextNotes.h"

namespace pwr {

/// What a `MetricContainerInfoMessage` tells. Everything but the id may be empty or null.
struct MetricContainerDescription {
  unsigned int containerId = 0;
  std::string featureName;  ///< feature switch, as the output configuration file names it
  std::string metricName;   ///< the container's name within the feature
  std::string heading;      ///< stands above the container's tables
  std::shared_ptr<const TextNotes> notes;
  std::shared_ptr<const TableMessage> table;
};

/// Describes a metric container: a group of metrics and tables that belong together. Comes before
/// the tables of the container.
class PW_HOST_API MetricContainerInfoMessage : public Message {
 public:
  explicit MetricContainerInfoMessage(MetricContainerDescription description);
  ~MetricContainerInfoMessage() override;

  const MetricContainerDescription& getDescription() const { return description_; }
  unsigned int getContainerId() const { return description_.containerId; }
  const std::string& getFeatureName() const { return description_.featureName; }
  const std::string& getMetricName() const { return description_.metricName; }
  const std::string& getHeading() const { return description_.heading; }
  const TextNotes* getTextNotes() const { return description_.notes.get(); }
  const TableMessage* getTable() const { return description_.table.get(); }

 private:
  MetricContainerDescription description_;
};

}  // namespace pwr
