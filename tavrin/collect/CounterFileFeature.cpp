#include "tavrin/collect/CounterFileFeature.h"

#include <system_error>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

CounterFileFeature::CounterFileFeature(std::string tag, std::string containerName, std::string help,
                                       const Source& source)
    : Feature(std::move(tag), std::move(containerName), std::move(help)),
      source_(source),
      things_(source.level, source.counters) {}

std::string CounterFileFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                      unsigned int containerId) {
  std::string text;
  const int error = root.readText(source_.path, text);
  if (error != 0) {
    return std::string(source_.path) + " cannot be read: " + std::generic_category().message(error);
  }
  read(text);
  if (things_.empty()) return source_.unused;
  for (const CounterMetric& each : describeMetrics()) {
    pwr::MetricDescription metric = things_.describe(each);
    metric.containerId = containerId;
    metric.featureTag = tag();
    addMetric(pwr::createMetric(std::move(metric)));
  }
  things_.endPass();
  file_.emplace(root.path(source_.path));
  return {};
}

void CounterFileFeature::read(std::string_view text) {
  while (!text.empty()) readLine(takeLine(text), things_);
}

void CounterFileFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  std::string_view text;
  if (file_->readText(text) == 0) read(text);
  for (std::size_t i = 0; complete && i < metrics().size(); ++i) {
    things_.emit(i, metrics()[i], interval_, batch);
  }
  things_.endPass();
}

}  // namespace tavrin
