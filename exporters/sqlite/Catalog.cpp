#include "exporters/sqlite/Catalog.h"

#include <optional>
#include <string>

#include "exporters/sqlite/AttributeText.h"
#include "writers/common/MetricTraits.h"
#include "writers/host/Quantity.h"

namespace sqlite {

namespace {

std::optional<std::uint32_t> numberOrNull(std::uint32_t number) {
  return number == 0 ? std::nullopt : std::optional(number);
}

std::optional<std::string> groupName(const std::shared_ptr<const pwr::Field>& group) {
  return group == nullptr ? std::nullopt : textOrNull(group->getName());
}

/// How a metric's values become rates: those of residencies are shares of the time.
struct Rate {
  std::optional<std::string> unit;
  std::optional<double> factor;

  explicit Rate(const pwr::MetricDescription& metric) {
    const pwr::Quantity* quantity = nullptr;
    double byQuantity = 0.0;
    if (metric.type == pwr::Metric::MetricType::SampledResidency) {
      unit = "%";
    } else if (metric.type == pwr::Metric::MetricType::SampledDelta && metric.quantity != nullptr &&
               metric.quantity->getRateConversion(quantity, byQuantity) == 0) {
      unit = textOrNull(quantity->toUnitsString());
      factor = byQuantity;
    }
  }
};

}  // namespace

Catalog::Metric& Catalog::find(const pwr::MetricDescription& description) {
  if (latest_ != nullptr && latestId_ == description.id) return *latest_;
  const auto [place, isNew] = metrics_.try_emplace(description.id);
  latestId_ = description.id;
  latest_ = &place->second;
  if (!isNew) return *latest_;
  described_.push_back(&description);
  latest_->number = static_cast<std::uint32_t>(described_.size());
  for (const auto& [entity, descriptor] : description.combinations) {
    find(*latest_, entity, descriptor);
  }
  return *latest_;
}

SeriesState Catalog::addSeries(std::uint32_t metric, const pwr::EntityHandle* entity,
                               const pwr::DataDescriptor* descriptor) {
  series_.push_back({metric, numberOf(entity), numberOf(descriptor)});
  return {.number = static_cast<std::uint32_t>(series_.size())};
}

std::uint32_t Catalog::numberOf(const pwr::EntityHandle* entity) {
  if (entity == nullptr) return 0;
  std::vector<const pwr::EntityHandle*> unknown;  // with those above it, which come first
  for (const auto* one = entity; one != nullptr && entities_.of(one) == 0; one = one->getParent()) {
    unknown.push_back(one);
  }
  for (; !unknown.empty(); unknown.pop_back()) entities_.add(unknown.back());
  return entities_.of(entity);
}

std::uint32_t Catalog::numberOf(const pwr::DataDescriptor* descriptor) {
  if (descriptor == nullptr) return 0;
  const std::uint32_t known = descriptors_.of(descriptor);
  return known == 0 ? descriptors_.add(descriptor) : known;
}

void Catalog::write(Database& database, double ticksPerMicrosecond) const {
  writeMetrics(database, ticksPerMicrosecond);
  writeDescriptions(database);
}

void Catalog::writeMetrics(Database& database, double ticksPerMicrosecond) const {
  constexpr double kMicrosecondsPerMillisecond = 1e3;
  Insertion metrics(database, "INSERT INTO metric VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
  Insertion values(database, "INSERT INTO metric_value VALUES (?,?,?)");
  std::int64_t number = 0;
  for (const auto* metric : described_) {
    const auto* const quantity = metric->quantity;
    const bool isTime = pwr::isTime(quantity);
    const Rate rate(*metric);
    std::string title;
    if (quantity != nullptr) quantity->toTitleString(title);
    metrics.add(
        ++number, metric->containerId, textOrNull(metric->featureTag), metric->name,
        metricKindText(metric->type), textOrNull(title),
        textOrNull(isTime ? "ms" : pwr::shownUnits(quantity)),
        isTime ? std::optional(ticksPerMicrosecond * kMicrosecondsPerMillisecond) : std::nullopt,
        pwr::isRate(quantity) ? 0 : 1, rate.unit, rate.factor, groupName(metric->entityGroup),
        groupName(metric->descriptorGroup), groupName(metric->valueGroup));
    std::int64_t position = 0;
    for (const pwr::Data& value : metric->finiteSet) values.add(number, ++position, value);
  }
}

void Catalog::writeDescriptions(Database& database) const {
  Insertion entities(database, "INSERT INTO entity VALUES (?,?,?,?,?,?)");
  for (const auto* entity : entities_.list) {
    const auto* const parent = entity->getParent();
    entities.add(entities_.of(entity), entity->getName(), entity->getQualifiedName(),
                 textOrNull(entity->getLevel()),
                 numberOrNull(parent == nullptr ? 0 : entities_.of(parent)),
                 textOrNull(attributesText(entity->getAttributes())));
  }
  Insertion descriptors(database, "INSERT INTO descriptor VALUES (?,?,?,?)");
  for (const auto* descriptor : descriptors_.list) {
    descriptors.add(descriptors_.of(descriptor), descriptor->getName(),
                    textOrNull(descriptor->getDescription()),
                    textOrNull(attributesText(descriptor->getAttributes())));
  }
  Insertion series(database, "INSERT INTO series VALUES (?,?,?,?)");
  std::int64_t number = 0;
  for (const Series& one : series_) {
    series.add(++number, one.metric, numberOrNull(one.entity), numberOrNull(one.descriptor));
  }
}

}  // namespace sqlite
