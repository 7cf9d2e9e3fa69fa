#include "writers/host/Metric.h"

#include <mutex>
#include <unordered_set>

#include "hostcommon/Descriptions.h"
#include "hostcommon/ImmortalStore.h"

namespace pwr {

Metric::Metric(const MetricDescription* description)
    : Message(description->id), description_(description) {}

Metric::~Metric() = default;

std::string Metric::getName() const {
  return description_->name;
}
RealTableClass Metric::getLegacyMetricType() const {
  return description_->legacyType;
}

const std::vector<const EntityHandle*>& Metric::getEntityList() const {
  return description_->entities;
}

const std::vector<Metric::EntityDescCombo>& Metric::getEntityDescriptorCombinations() const {
  return description_->combinations;
}

const Field* Metric::getEntityGroupInfo() const {
  return description_->entityGroup.get();
}
const Field* Metric::getDescriptorGroupInfo() const {
  return description_->descriptorGroup.get();
}
const Field* Metric::getValueGroupInfo() const {
  return description_->valueGroup.get();
}
const std::vector<Data>& Metric::getFiniteSetValues() const {
  return description_->finiteSet;
}
const std::string& Metric::getFeatureSwitchTag() const {
  return description_->featureTag;
}

bool Metric::getTraceSampleEntityAttr() const {
  return description_->traceSampleEntityAttributes;
}

const MetricDescription* createMetric(MetricDescription description) {
  static std::mutex numbering;
  auto& store = ImmortalStore<MetricDescription>::instance();
  std::unordered_set<const EntityHandle*> listed(description.entities.begin(),
                                                 description.entities.end());
  for (const Metric::EntityDescCombo& combo : description.combinations) {
    if (combo.entity != nullptr && listed.insert(combo.entity).second) {
      description.entities.push_back(combo.entity);
    }
  }
  const std::lock_guard lock(numbering);
  description.id = static_cast<unsigned int>(store.size() + 1);
  return store.keep(std::make_unique<const MetricDescription>(std::move(description)));
}

}  // namespace pwr
