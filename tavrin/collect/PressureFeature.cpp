#include "tavrin/collect/PressureFeature.h"

#include <algorithm>
#include <system_error>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Counting.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

struct StallName {
  std::string_view key;
  const char* description;
};

constexpr std::array<StallName, 2> kStallNames{{
    {"some", "Some tasks waited for it"},
    {"full", "All tasks that had something to do waited for it"},
}};

/// Of the whole machine there is no such time; the kernel says 0.
bool isUndefined(std::string_view resource, std::string_view stall) {
  return resource == "cpu" && stall == "full";
}

}  // namespace

PressureFeature::PressureFeature()
    : Feature("pressure", "Pressure", "Time in which tasks waited for CPUs, memory and disks") {}

std::string PressureFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                   unsigned int containerId) {
  int failure = 0;
  for (const char* const name : {"cpu", "io", "memory", "irq"}) {
    Resource resource{.file = OpenFile(root.path(std::string("/proc/pressure/") + name))};
    const int error = read(resource);
    // The kernel has no file of interrupts where it does not account their time.
    if (error != 0 && failure == 0) failure = error;
    bool hasAny = false;
    for (std::size_t i = 0; i < kStalls; ++i) {
      Stall& stall = resource.stalls[i];
      stall.isMeasured = stall.isFound && !isUndefined(name, kStallNames[i].key);
      hasAny = hasAny || stall.isMeasured;
    }
    if (!hasAny) continue;
    resource.entity = pwr::createEntity({.name = name, .level = "Resource"});
    resources_.push_back(std::move(resource));
  }
  if (resources_.empty()) {
    return "no times below /proc/pressure" +
           (failure == 0 ? "" : ": " + std::generic_category().message(failure));
  }
  createMetric(containerId);
  return {};
}

void PressureFeature::createMetric(unsigned int containerId) {
  pwr::MetricDescription metric{.containerId = containerId,
                                .name = "Pressure",
                                .featureTag = tag(),
                                .type = pwr::Metric::MetricType::SampledResidency,
                                .legacyType = pwr::RealTableClass::Residency,
                                .quantity = pwr::Quantity::time(),
                                .entityGroup = std::make_shared<const pwr::Field>("Resource"),
                                .descriptorGroup = std::make_shared<const pwr::Field>("Stall")};
  for (std::size_t i = 0; i < kStalls; ++i) {
    descriptors_[i] = pwr::DataDescriptor::create(
        pwr::DataDescriptorBuilder(std::string(kStallNames[i].key), kStallNames[i].description));
  }
  for (const Resource& resource : resources_) {
    for (std::size_t i = 0; i < kStalls; ++i) {
      if (!resource.stalls[i].isMeasured) continue;
      metric.combinations.push_back({resource.entity, descriptors_[i]});
    }
  }
  addMetric(pwr::createMetric(std::move(metric)));
}

/// Lines are "some avg10=0.00 avg60=0.00 avg300=0.00 total=0".
int PressureFeature::read(Resource& resource) {
  for (Stall& stall : resource.stalls) stall.isFound = false;
  std::string_view text;
  const int error = resource.file.readText(text);
  if (error != 0) return error;
  while (!text.empty()) {
    std::string_view line = takeLine(text);
    const auto name = std::ranges::find(kStallNames, takeWord(line), &StallName::key);
    constexpr std::string_view kTotalKey = " total=";
    const std::size_t total = line.find(kTotalKey);
    if (name == kStallNames.end() || total == std::string_view::npos) continue;
    line.remove_prefix(total + kTotalKey.size());
    Stall& stall = resource.stalls[static_cast<std::size_t>(name - kStallNames.begin())];
    stall.isFound = takeNumber(line, stall.now);
  }
  return 0;
}

void PressureFeature::sampleStall(Stall& stall, bool complete,
                                  const pwr::DataDescriptor* descriptor,
                                  const pwr::EntityHandle* entity, IntervalPoint& point) {
  const auto growth = growthOf(stall.before, stall.now, kTicksPerMicrosecond);
  if (complete && stall.isKnown && stall.isFound && growth) {
    std::array<unsigned long long, 1> ticks{*growth};
    stall.carry.attribute(interval_.length(), ticks);
    point.add(pwr::Data(ticks[0]), descriptor, entity);
  } else {
    stall.carry.restart();
  }
  stall.before = stall.now;
  stall.isKnown = stall.isFound;
}

void PressureFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  IntervalPoint point(batch, metrics().front(), interval_);
  for (Resource& resource : resources_) {
    read(resource);
    for (std::size_t i = 0; i < kStalls; ++i) {
      if (!resource.stalls[i].isMeasured) continue;
      sampleStall(resource.stalls[i], complete, descriptors_[i], resource.entity, point);
    }
  }
}

void PressureFeature::remainder(SampleBatch& batch) const {
  Feature::remainder(batch);
  const Interval none;
  IntervalPoint point(batch, metrics().front(), none);
  for (const Resource& resource : resources_) {
    for (std::size_t i = 0; i < kStalls; ++i) {
      const unsigned long long ticks = resource.stalls[i].carry.remainder()[0];
      if (ticks != 0) point.add(pwr::Data(ticks), descriptors_[i], resource.entity);
    }
  }
}

}  // namespace tavrin
