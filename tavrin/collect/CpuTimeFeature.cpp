#include "tavrin/collect/CpuTimeFeature.h"

#include <system_error>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Counting.h"
#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

struct StateName {
  const char* name;
  const char* description;
};

/// In the order of the kernel's columns.
constexpr std::array<StateName, 8> kStateNames{{
    {"user", "Programs, virtual machines included"},
    {"nice", "Programs of low priority"},
    {"system", "The kernel on behalf of programs"},
    {"idle", "Nothing to do"},
    {"iowait", "Nothing to do but to wait for input or output"},
    {"irq", "Interrupts"},
    {"softirq", "Deferred work of interrupts"},
    {"steal", "Taken by the hypervisor"},
}};

/// The kernel estimates these two from each other; either may run back a little.
constexpr bool isEstimate(std::size_t state) {
  return state == 3 || state == 4;
}

}  // namespace

CpuTimeFeature::CpuTimeFeature(std::shared_ptr<StatFile> stat)
    : Feature("cpu-time", "CPU Time", "What each CPU spent its time for"), stat_(std::move(stat)) {}

std::string CpuTimeFeature::probe(const SysRoot& root, CpuEntities& cpus,
                                  unsigned int containerId) {
  std::string text;
  const int error = root.readText(StatFile::kPath, text);
  if (error != 0) {
    return std::string(StatFile::kPath) +
           " cannot be read: " + std::generic_category().message(error);
  }
  allCpus_ = &cpus;
  for (const CpuEntities::Cpu& cpu : cpus.cpus()) {
    if (text.find("\ncpu" + std::to_string(cpu.number) + " ") == std::string::npos) continue;
    if (cpus_.size() <= cpu.number) cpus_.resize(cpu.number + 1);
    cpus_[cpu.number].entity = cpu.entity;
  }
  if (cpus_.empty()) return std::string("no CPUs in ") + StatFile::kPath;
  stat_->open(root);
  createMetric(containerId);
  return {};
}

void CpuTimeFeature::createMetric(unsigned int containerId) {
  for (const StateName& state : kStateNames) {
    descriptors_.push_back(
        pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(state.name, state.description)));
  }
  pwr::MetricDescription metric{.containerId = containerId,
                                .name = "CPU Time",
                                .featureTag = tag(),
                                .type = pwr::Metric::MetricType::SampledResidency,
                                .legacyType = pwr::RealTableClass::Residency,
                                .quantity = pwr::Quantity::time(),
                                .entityGroup = std::make_shared<const pwr::Field>("CPU"),
                                .descriptorGroup = std::make_shared<const pwr::Field>("State")};
  for (const BusyCpu& cpu : cpus_) {
    if (cpu.entity == nullptr) continue;
    for (const auto* descriptor : descriptors_) {
      metric.combinations.push_back({cpu.entity, descriptor});
    }
  }
  addMetric(pwr::createMetric(std::move(metric)));
}

/// The CPU that the line "cpuN user nice …" is about; null when it is not collected. Old kernels
/// have fewer columns; what is missing is 0.
CpuTimeFeature::BusyCpu* CpuTimeFeature::parse(std::string_view line, Counters& jiffies) {
  unsigned int number = 0;
  line.remove_prefix(3);
  if (line.starts_with(' ') || !takeNumber(line, number)) return nullptr;
  if (number >= cpus_.size() || cpus_[number].entity == nullptr) {
    const CpuEntities::Cpu* const known = allCpus_->find(number);
    if (known == nullptr) return nullptr;
    if (cpus_.size() <= number) cpus_.resize(number + 1);
    cpus_[number].entity = known->entity;
  }
  jiffies.fill(0);
  std::size_t columns = 0;
  while (columns < kStates && takeNumber(line, jiffies[columns])) ++columns;
  return columns < 4 ? nullptr : &cpus_[number];
}

void CpuTimeFeature::update(BusyCpu& cpu, const Counters& jiffies, bool complete,
                            IntervalPoint& point) {
  Counters ticks{};
  bool forwards = complete && cpu.valid;
  for (std::size_t i = 0; i < kStates; ++i) {
    if (jiffies[i] >= cpu.jiffies[i]) {
      ticks[i] = (jiffies[i] - cpu.jiffies[i]) * ticksPerJiffy();
    } else if (!isEstimate(i)) {
      forwards = false;
    }
  }
  cpu.jiffies = jiffies;
  cpu.seen = true;
  if (!forwards) {
    cpu.carry.restart();
    return;
  }
  cpu.carry.attribute(interval_.length(), ticks);
  for (std::size_t i = 0; i < kStates; ++i) {
    point.add(pwr::Data(ticks[i]), descriptors_[i], cpu.entity);
  }
}

void CpuTimeFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  allCpus_->updateAt(now);
  IntervalPoint point(batch, metrics().front(), interval_);
  std::string_view text = stat_->textAt(now);
  Counters jiffies{};
  while (text.starts_with("cpu")) {
    if (BusyCpu* cpu = parse(takeLine(text), jiffies)) update(*cpu, jiffies, complete, point);
  }
  for (BusyCpu& cpu : cpus_) cpu.valid = std::exchange(cpu.seen, false);
}

void CpuTimeFeature::remainder(SampleBatch& batch) const {
  Feature::remainder(batch);
  const Interval none;
  IntervalPoint point(batch, metrics().front(), none);
  for (const BusyCpu& cpu : cpus_) {
    const std::vector<unsigned long long> ticks = cpu.carry.remainder();
    for (std::size_t i = 0; i < kStates; ++i) {
      if (ticks[i] == 0) continue;
      point.add(pwr::Data(ticks[i]), descriptors_[i], cpu.entity);
    }
  }
}

}  // namespace tavrin
