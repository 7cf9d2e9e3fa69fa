#include "tavrin/collect/GpuFeature.h"

namespace tavrin {

namespace {

constexpr const char* kCards = "/sys/class/drm";

}  // namespace

GpuFeature::GpuFeature()
    : Feature("gpu", "GPU", "Frequencies, sleep and load of graphics units"),
      rc6_(kTicksPerMillisecond) {}

const pwr::DataDescriptor* GpuFeature::descriptor(const char* name) {
  const pwr::DataDescriptor*& known = descriptors_[name];
  if (known == nullptr) {
    known = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, ""));
  }
  return known;
}

void GpuFeature::addGauge(Card& card, const std::string& path, const std::string& name,
                          const char* value, ValueTable& table) {
  OpenFile file(root_->path(path));
  long long number = 0;
  if (file.readNumber(number) != 0) return;
  const pwr::EntityHandle* const entity = entities_.of(name);
  if (entity == nullptr) return;
  card.gauges.push_back({std::move(file), &table, table.add(entity, descriptor(value))});
}

void GpuFeature::addTime(Card& card, const std::string& path, const std::string& name) {
  OpenFile file(root_->path(path));
  unsigned long long number = 0;
  if (file.readNumber(number) != 0) return;
  const pwr::EntityHandle* const entity = entities_.of(name);
  if (entity == nullptr) return;
  card.rc6.emplace_back(std::move(file), rc6_.add(entity, {descriptor("RC6")}));
}

std::optional<GpuFeature::Card> GpuFeature::open(const std::string& name) {
  const std::string folder = std::string(kCards) + "/" + name + "/";
  Card card;
  const std::string prefix = "gt";
  const std::vector<unsigned int> units = root_->listNumbered(folder + prefix, prefix);
  for (const unsigned int number : units) {
    const std::string part = prefix + std::to_string(number);
    const std::string unit = std::string(name).append("/").append(part);
    const std::string files = std::string(folder).append("gt/").append(part).append("/");
    addGauge(card, files + "rps_cur_freq_mhz", unit, "requested", frequencies_);
    addGauge(card, files + "rps_act_freq_mhz", unit, "actual", frequencies_);
    addTime(card, files + "rc6_residency_ms", unit);
  }
  if (units.empty()) {
    addGauge(card, folder + "gt_cur_freq_mhz", name, "requested", frequencies_);
    addGauge(card, folder + "gt_act_freq_mhz", name, "actual", frequencies_);
    addTime(card, folder + "power/rc6_residency_ms", name);
  }
  addGauge(card, folder + "device/gpu_busy_percent", name, "GPU", busy_);
  addGauge(card, folder + "device/mem_busy_percent", name, "memory", busy_);
  if (card.isEmpty()) return std::nullopt;
  return card;
}

void GpuFeature::findCards() {
  const std::string prefix = "card";
  std::vector<std::string> cards;
  for (const unsigned int number : root_->listNumbered(kCards, prefix)) {
    cards.push_back(prefix + std::to_string(number));
  }
  cards_.meet(cards, [this](const std::string& card) { return open(card); });
}

void GpuFeature::read() {
  cards_.forEach([this](Card& card) {
    bool isThere = false;
    for (Gauge& gauge : card.gauges) {
      long long number = 0;
      if (gauge.file.readNumber(number) != 0) continue;
      gauge.table->note(gauge.row, static_cast<double>(number));
      isThere = true;
    }
    for (auto& [file, row] : card.rc6) {
      unsigned long long milliseconds = 0;
      if (file.readNumber(milliseconds) != 0) continue;
      rc6_.note(row, {&milliseconds, 1});
      isThere = true;
    }
    return isThere;
  });
}

const pwr::MetricDescription* GpuFeature::add(std::optional<pwr::MetricDescription> metric,
                                              unsigned int containerId) {
  if (!metric) return nullptr;
  metric->containerId = containerId;
  metric->featureTag = tag();
  return addMetric(pwr::createMetric(std::move(*metric)));
}

void GpuFeature::createMetrics(unsigned int containerId) {
  const auto describe = [](const ValueTable& table, const char* name,
                           pwr::QuantityDescription quantity) {
    std::optional<pwr::MetricDescription> metric;
    if (table.empty()) return metric;
    metric = {.name = name,
              .type = pwr::Metric::MetricType::SampledValue,
              .legacyType = pwr::RealTableClass::Value,
              .quantity = pwr::createQuantity(std::move(quantity)),
              .combinations = table.combinations(),
              .entityGroup = std::make_shared<const pwr::Field>("GPU"),
              .descriptorGroup = std::make_shared<const pwr::Field>("Value")};
    return metric;
  };
  frequencyMetric_ =
      add(describe(frequencies_, "GPU Frequency",
                   {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "MHz"}),
          containerId);
  busyMetric_ = add(describe(busy_, "GPU Load",
                             {.type = pwr::QuantityType::Percentage, .name = "Load", .units = "%"}),
                    containerId);
  if (!rc6_.empty()) {
    pwr::MetricDescription metric = rc6_.describe("GPU");
    metric.name = "GPU C-State";
    rc6Metric_ = add(std::move(metric), containerId);
  }
  scaledMetric_ = add(scaled_->describeFrequencies(), containerId);
  scaledTimesMetric_ = add(scaled_->describeTimes(), containerId);
}

std::string GpuFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                              unsigned int containerId) {
  root_ = &root;
  cards_.follow(root);
  findCards();
  scaled_.emplace(root);
  createMetrics(containerId);
  if (!metrics().empty()) return {};
  return std::string("no frequencies, RC6 times or load of graphics below ") + kCards +
         ", no frequencies below /sys/class/devfreq";
}

void GpuFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  if (cards_.isDue(now)) findCards();
  read();
  frequencies_.emit(frequencyMetric_, complete && frequencyMetric_ != nullptr, interval_, batch);
  rc6_.emit(rc6Metric_, complete && rc6Metric_ != nullptr, interval_, batch);
  busy_.emit(busyMetric_, complete && busyMetric_ != nullptr, interval_, batch);
  scaled_->sample(now, scaledMetric_, scaledTimesMetric_, batch);
}

void GpuFeature::remainder(SampleBatch& batch) const {
  Feature::remainder(batch);
  if (rc6Metric_ != nullptr) rc6_.remainder(rc6Metric_, batch);
  scaled_->remainder(scaledTimesMetric_, batch);
}

}  // namespace tavrin
