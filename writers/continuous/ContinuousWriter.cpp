#include "writers/continuous/ContinuousWriter.h"

#include <locale>
#include <sstream>
#include <string_view>
#include <utility>
#include <variant>

#include "formats/ztjson_format.h"
#include "writers/common/MetricTraits.h"
#include "writers/common/SystemFacts.h"
#include "writers/continuous/ContinuousCommon.h"
#include "writers/host/Quantity.h"

namespace {

namespace numbered = ztjson::numbered;

using Metadata = ContinuousWriter::Metadata;
using Data = Metadata::Data;
using Children = std::vector<std::shared_ptr<const Data>>;

std::shared_ptr<const Data> entry(const char* key, std::string value) {
  return std::make_shared<const Data>(Data{.key = key, .values = {std::move(value)}});
}

/// The value that is an object with these members.
std::shared_ptr<const Data> objectOf(Children members) {
  return std::make_shared<const Data>(Data{.children = std::move(members)});
}

std::shared_ptr<const Data> group(const char* key, Children members) {
  return std::make_shared<const Data>(Data{.key = key, .children = {objectOf(std::move(members))}});
}

/// Texts as they are, numbers as a stream shows them.
std::string textOf(const SystemFactValue& value) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  std::visit([&](const auto& content) { text << content; }, value);
  return text.str();
}

Children factsOf(const pwr::SystemMetadata& system, SystemFactGroup group) {
  Children facts;
  for (const SystemFact& fact : systemFacts()) {
    if (fact.group != group || fact.key == nullptr || !fact.isContinuous) continue;
    // Readers of these files know this one key by another spelling.
    const bool isPlatformName = std::string_view(fact.key) == "Platform Name";
    facts.push_back(
        entry(isPlatformName ? numbered::kPlatformName : fact.key, textOf(fact.of(system))));
  }
  return facts;
}

void addUnits(const pwr::Metric& metric, Children& children) {
  const pwr::Quantity* const quantity = metric.getQuantity();
  if (quantity == nullptr) {
    PW_LOG(kContinuousLog, PW_LOG_WARNING, "WARNING: no quantity so no units for %s?!\n",
           metric.getName().c_str());
    return;
  }
  children.push_back(entry(numbered::kUnits, quantity->toUnitsString()));
  children.push_back(entry(numbered::kQuantity, quantity->toQuantityString()));
  PW_LOG(kContinuousLog, PW_LOG_INFO, "INFO: wrote name = %s, units = %s\n",
         metric.getName().c_str(), quantity->toUnitsString().c_str());
}

std::shared_ptr<const Data> statesOf(const pwr::Metric& metric) {
  Data states{.key = numbered::kStates};
  for (const pwr::Data& value : metric.getFiniteSetValues()) {
    value.toFormattedString(states.values.emplace_back());
  }
  return std::make_shared<const Data>(std::move(states));
}

std::shared_ptr<const Data> combinationsOf(const pwr::Metric& metric) {
  Data combinations{.key = numbered::kCombinations};
  for (const auto& [entity, descriptor] : metric.getEntityDescriptorCombinations()) {
    combinations.children.push_back(objectOf({
        entry(numbered::kEntity, nameOf(entity)),
        entry(numbered::kDescriptor, descriptor == nullptr ? "" : descriptor->getName()),
        entry(numbered::kAttributeText, descriptor == nullptr ? "" : descriptorText(*descriptor)),
    }));
  }
  return std::make_shared<const Data>(std::move(combinations));
}

}  // namespace

ContinuousWriter::~ContinuousWriter() = default;

std::shared_ptr<const Metadata> describeSystem(const pwr::SystemMetadata& system) {
  Metadata node{.featureName = numbered::kSystem, .name = numbered::kSystem};
  node.children = {
      group(numbered::kPlatform, factsOf(system, SystemFactGroup::Platform)),
      group(numbered::kOs, factsOf(system, SystemFactGroup::OperatingSystem)),
      group(numbered::kTavrin, factsOf(system, SystemFactGroup::Collection)),
  };
  return std::make_shared<const Metadata>(std::move(node));
}

std::shared_ptr<const Metadata> describeMetric(const pwr::Metric& metric) {
  Metadata node{.featureName = metric.getFeatureSwitchTag(),
                .name = metric.getName(),
                .id = static_cast<int>(metric.getId())};
  node.children.push_back(entry(numbered::kName, metric.getName()));
  addUnits(metric, node.children);
  node.children.push_back(entry(numbered::kType, metricKindText(metric.getMetricType())));
  PW_LOG(kContinuousLog, PW_LOG_INFO, "INFO: there are %zu finite values and %zu E-D combos\n",
         metric.getFiniteSetValues().size(), metric.getEntityDescriptorCombinations().size());
  node.children.push_back(statesOf(metric));
  node.children.push_back(combinationsOf(metric));
  return std::make_shared<const Metadata>(std::move(node));
}
