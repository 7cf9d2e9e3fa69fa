#include "tavrin/collect/DeliveredPerformance.h"

#include "tavrin/collect/SysRoot.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr double kFeedbackRange = 0x1p32;  // of a counter that may wrap during a run

/// Takes "NAME:NUMBER".
bool takeCounter(std::string_view& text, std::string_view name, unsigned long long& value) {
  const std::size_t place = text.find(name);
  if (place == std::string_view::npos) return false;
  text.remove_prefix(place + name.size());
  return takeNumber(text, value);
}

/// `largest`: what a counter can have grown by if it has wrapped.
std::optional<double> growthOfFeedback(unsigned long long before, unsigned long long now,
                                       double largest) {
  if (now >= before) return static_cast<double>(now - before);
  const double growth = kFeedbackRange - static_cast<double>(before) + static_cast<double>(now);
  if (static_cast<double>(before) >= kFeedbackRange || growth > largest) return std::nullopt;
  return growth;
}

}  // namespace

void DeliveredPerformance::add(const SysRoot& root, const CpuEntities::Cpu& cpu) {
  if (entities_.contains(cpu.entity)) return;
  const std::string folder =
      "/sys/devices/system/cpu/cpu" + std::to_string(cpu.number) + "/acpi_cppc/";
  unsigned long long reference = 0;
  unsigned long long nominal = 0;
  root.readNumber(folder + "reference_perf", reference);
  root.readNumber(folder + "nominal_perf", nominal);
  if (reference == 0 || nominal == 0) return;
  Cpu added{
      .file = OpenFile(root.path(folder + "feedback_ctrs")),
      .entity = cpu.entity,
      .referencePercent = 100.0 * static_cast<double>(reference) / static_cast<double>(nominal)};
  root.readNumber(folder + "wraparound_time", added.secondsToWrap);
  if (!read(added, added.before)) return;
  if (descriptor_ == nullptr) {
    descriptor_ = pwr::DataDescriptor::create(
        pwr::DataDescriptorBuilder("Delivered", "In percent of the nominal performance"));
  }
  entities_.insert(cpu.entity);
  cpus_.push_back(std::move(added));
}

std::vector<pwr::Metric::EntityDescCombo> DeliveredPerformance::combinations() const {
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (const Cpu& cpu : cpus_) combinations.push_back({cpu.entity, descriptor_});
  return combinations;
}

/// The text is "ref:NUMBER del:NUMBER".
bool DeliveredPerformance::read(Cpu& cpu, Counters& counters) {
  std::string_view text;
  if (cpu.file.readText(text) != 0) return false;
  return takeCounter(text, "ref:", counters.reference) &&
         takeCounter(text, "del:", counters.delivered);
}

std::optional<double> DeliveredPerformance::percent(const Cpu& cpu, const Counters& now) const {
  const double seconds = static_cast<double>(interval_.length()) / kTicksPerSecond;
  const double wraps =
      cpu.secondsToWrap == 0 ? 0.0 : seconds / static_cast<double>(cpu.secondsToWrap);
  if (wraps >= 1.0) return std::nullopt;  // nobody knows how often
  const double largest = wraps * kFeedbackRange;
  const auto reference = growthOfFeedback(cpu.before.reference, now.reference, largest);
  const auto delivered = growthOfFeedback(cpu.before.delivered, now.delivered, largest);
  if (!reference || !delivered || *reference == 0.0) return std::nullopt;
  return cpu.referencePercent * *delivered / *reference;
}

void DeliveredPerformance::sample(unsigned long long now, const pwr::MetricDescription* metric,
                                  SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  IntervalPoint point(batch, metric, interval_);
  for (Cpu& cpu : cpus_) {
    Counters counters;
    const bool isRead = read(cpu, counters);
    if (complete && cpu.isKnown && isRead) {
      const auto value = percent(cpu, counters);
      if (value) point.add(pwr::Data(*value), descriptor_, cpu.entity);
    }
    cpu.before = counters;
    cpu.isKnown = isRead;
  }
}

}  // namespace tavrin
