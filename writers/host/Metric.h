#pragma once

#include <memory>
#include <string>
#include <vector>

#include "writers/host/Attribute.h"
#include "writers/host/Data.h"
#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/HostApi.h"
#include "writers/host/Message.h"
#include "writers/host/TableMessage.h"

namespace pwr {

class Quantity;

/// Names one of a metric's groups (entities, descriptors, values) and the attributes that its
/// members carry.
class PW_HOST_API Field {
 public:
  explicit Field(std::string name, ExpectedAttributeManager expectedAttributes = {})
      : name_(std::move(name)), expectedAttributes_(std::move(expectedAttributes)) {}

  const std::string& getName() const { return name_; }
  const ExpectedAttributeManager& getExpectedAttributes() const { return expectedAttributes_; }

 private:
  std::string name_;
  ExpectedAttributeManager expectedAttributes_;
};

/// One value of a sample. A plain value type: copying it copies no text unless the value is one.
class PW_HOST_API DataElement {
 public:
  DataElement() = default;
  /// `descriptor` and `entity` may be null; `durationTicks` is 0 where no duration is known.
  DataElement(Data value, const DataDescriptor* descriptor, const EntityHandle* entity,
              unsigned long long durationTicks)
      : value_(std::move(value)),
        descriptor_(descriptor),
        entity_(entity),
        duration_(durationTicks) {}

  const Data* getValue() const { return &value_; }
  const DataDescriptor* getDescriptor() const { return descriptor_; }
  /// The descriptor to show on a timeline instead of `getDescriptor()`; null when there is none.
  const DataDescriptor* getKorvellDescriptor() const { return korvellDescriptor_; }
  const EntityHandle* getEntity() const { return entity_; }
  /// In ticks of the timestamp clock, except for a quantity of type Rate, whose durations are in
  /// the quantity's own unit. The element covers [timestamp, timestamp + duration).
  unsigned long long getDuration() const { return duration_; }
  /// Values of the attributes that the metric's value group announces; null when there are none.
  const AttributeValueManager* getAttributes() const { return attributes_.get(); }
  /// Attributes of this one event; null when there are none.
  const DynamicAttributeValueManager* getAdditionalInfo() const { return additionalInfo_.get(); }

  /// For a host that fills the same element again: everything but the value, as the constructor
  /// sets it.
  void reset(const DataDescriptor* descriptor, const EntityHandle* entity,
             unsigned long long durationTicks) {
    descriptor_ = descriptor;
    korvellDescriptor_ = nullptr;
    entity_ = entity;
    duration_ = durationTicks;
    if (attributes_ != nullptr) attributes_.reset();
    if (additionalInfo_ != nullptr) additionalInfo_.reset();
  }
  Data& editValue() { return value_; }
  void setValue(Data value) { value_ = std::move(value); }
  void setKorvellDescriptor(const DataDescriptor* descriptor) { korvellDescriptor_ = descriptor; }
  void setAttributes(std::shared_ptr<const AttributeValueManager> attributes) {
    attributes_ = std::move(attributes);
  }
  void setAdditionalInfo(std::shared_ptr<const DynamicAttributeValueManager> info) {
    additionalInfo_ = std::move(info);
  }

 private:
  Data value_;
  const DataDescriptor* descriptor_ = nullptr;
  const DataDescriptor* korvellDescriptor_ = nullptr;
  const EntityHandle* entity_ = nullptr;
  unsigned long long duration_ = 0;
  std::shared_ptr<const AttributeValueManager> attributes_;
  std::shared_ptr<const DynamicAttributeValueManager> additionalInfo_;
};

struct MetricDescription;

/// One metric together with one sample of it. What describes the metric is shared and immutable;
/// only the data point changes from message to message, and a host that reuses a `Metric` allocates
/// nothing per sample.
class PW_HOST_API Metric : public Message {
 public:
  /// The numbers are part of the host interface.
  enum class MetricType : int {
    SampledDelta = 0,           ///< growth of a counter during the element's duration
    SampledResidency = 1,       ///< ticks spent in a state during the element's duration
    SampledValue = 2,           ///< a reading that stands for the element's duration
    TracedValueTransition = 3,  ///< a change to a new value
    TracedEvent = 4,            ///< something that happened
  };

  /// One pair that samples of the metric can have. Either pointer may be null.
  struct EntityDescCombo {
    const EntityHandle* entity = nullptr;
    const DataDescriptor* descriptor = nullptr;
  };

  struct DataPoint {
    unsigned long long timestamp = 0;  ///< ticks; the start of what the elements describe
    std::vector<DataElement> elements;
  };

  /// `description` must outlive the process; `createMetric` (hostcommon) makes such ones.
  explicit Metric(const MetricDescription* description);
  ~Metric() override;
  Metric(const Metric&) = default;
  Metric& operator=(const Metric&) = default;

  const MetricDescription* getDescription() const { return description_; }
  std::string getName() const;
  /// Not 0, unique in the process, ascending in the order of creation.
  inline unsigned int getId() const;
  inline MetricType getMetricType() const;
  RealTableClass getLegacyMetricType() const;
  /// Null for a metric without a quantity.
  inline const Quantity* getQuantity() const;
  const std::vector<const EntityHandle*>& getEntityList() const;
  const std::vector<EntityDescCombo>& getEntityDescriptorCombinations() const;
  /// Null where the metric has no such group.
  const Field* getEntityGroupInfo() const;
  const Field* getDescriptorGroupInfo() const;
  const Field* getValueGroupInfo() const;
  /// Every value that the metric can take, when it takes only a few; empty otherwise.
  const std::vector<Data>& getFiniteSetValues() const;
  const std::string& getFeatureSwitchTag() const;
  /// True when the attributes of a sample's entity belong into its trace rows.
  bool getTraceSampleEntityAttr() const;
  const DataPoint& getData() const { return data_; }

  /// For the host: the data point to fill for the next delivery.
  DataPoint& editData() { return data_; }

 private:
  const MetricDescription* description_;
  DataPoint data_;
};

/// What a metric is made of, apart from its samples. Created once per metric by the host.
struct MetricDescription {
  unsigned int id = 0;           ///< set by `createMetric`
  unsigned int containerId = 0;  ///< the metric container that the metric belongs to
  std::string name;
  std::string featureTag;  ///< "core-cstate"
  Metric::MetricType type = Metric::MetricType::SampledValue;
  RealTableClass legacyType = RealTableClass::None;
  const Quantity* quantity = nullptr;
  std::vector<Metric::EntityDescCombo> combinations;
  std::shared_ptr<const Field> entityGroup;
  std::shared_ptr<const Field> descriptorGroup;
  std::shared_ptr<const Field> valueGroup;
  std::vector<Data> finiteSet;
  bool traceSampleEntityAttributes = false;
  std::vector<const EntityHandle*> entities;  ///< set by `createMetric` from the combinations
};

// Asked for with every sample.
inline unsigned int Metric::getId() const {
  return description_->id;
}
inline Metric::MetricType Metric::getMetricType() const {
  return description_->type;
}
inline const Quantity* Metric::getQuantity() const {
  return description_->quantity;
}

}  // namespace pwr
