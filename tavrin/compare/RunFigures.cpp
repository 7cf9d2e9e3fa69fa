#include "tavrin/compare/RunFigures.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "hostcommon/summary/WholeMachine.h"
#include "tavrin/common/Owners.h"
#include "tavrin/common/PlainText.h"
#include "writers/host/Quantity.h"

namespace tavrin {

namespace {

using Type = pwr::Metric::MetricType;

constexpr double kMicrosecondsPerSecond = 1e6;
constexpr double kMicrosecondsPerMillisecond = 1e3;

bool isEnergy(const pwr::Quantity* quantity) {
  return quantity != nullptr && (quantity->toQuantity() == pwr::QuantityType::Energy ||
                                 quantity->toQuantity() == pwr::QuantityType::Power);
}

/// Makes the figures of one metric.
class MetricFigures {
 public:
  MetricFigures(std::string name, const pwr::MetricDescription& metric,
                const pwr::SystemMetadata& system, std::map<FigureKey, Figure>& figures)
      : name_(std::move(name)),
        metric_(metric),
        ticksPerMicrosecond_(system.getTscFrequencyMHz()),
        runSeconds_(system.getCollectionDurationSec()),
        figures_(figures) {}

  void add(const pwr::MetricTotals& totals) const {
    if (totals.hasStates()) return addStates(totals);
    for (const pwr::SeriesTotals& series : totals.series()) {
      if (series.isText) {
        addText(series);
      } else if (metric_.type == Type::SampledResidency) {
        if (series.durationTicks == 0) continue;
        addFigure(series, FigureForm::Share, "%",
                  100.0 * series.sum / static_cast<double>(series.durationTicks));
      } else if (metric_.type == Type::SampledDelta) {
        addCounter(series);
      } else {
        addMean(series);
      }
    }
  }

  /// What each owner's elements of a list add up to.
  void addOwners(const std::map<std::string, double>& sums) const {
    for (const auto& [owner, sum] : sums) {
      addOf({.metric = name_, .descriptor = owner, .form = FigureForm::Total}, sum,
            pwr::shownUnits(metric_.quantity), runSeconds_);
    }
  }

 private:
  double secondsOf(unsigned long long ticks) const {
    return static_cast<double>(ticks) / (ticksPerMicrosecond_ * kMicrosecondsPerSecond);
  }

  void addOf(FigureKey key, double value, std::string unit, double seconds) const {
    figures_.try_emplace(std::move(key), Figure{.value = value,
                                                .unit = std::move(unit),
                                                .seconds = seconds,
                                                .isEnergy = isEnergy(metric_.quantity)});
  }

  void addFigure(const pwr::SeriesTotals& series, FigureForm form, std::string unit,
                 double value) const {
    std::string descriptor = series.descriptor == nullptr ? "" : series.descriptor->getName();
    if (series.isText) descriptor += (descriptor.empty() ? "" : " ") + series.value;
    addOf({.metric = name_,
           .entity = series.entity == nullptr ? "" : series.entity->getQualifiedName(),
           .descriptor = std::move(descriptor),
           .form = form},
          value, std::move(unit), secondsOf(series.durationTicks));
  }

  /// The time that was measured is that of all states together.
  void addStates(const pwr::MetricTotals& totals) const {
    std::map<std::pair<const void*, const void*>, double> measured;
    for (const pwr::SeriesTotals& series : totals.series()) {
      measured[{series.entity, series.descriptor}] += static_cast<double>(series.durationTicks);
    }
    for (const pwr::SeriesTotals& series : totals.series()) {
      const double all = measured[{series.entity, series.descriptor}];
      if (all > 0.0) {
        addFigure(series, FigureForm::Share, "%",
                  100.0 * static_cast<double>(series.durationTicks) / all);
      }
      addPerSecond(series);
    }
  }

  void addPerSecond(const pwr::SeriesTotals& series) const {
    if (runSeconds_ <= 0.0) return;
    addFigure(series, FigureForm::Rate, "/s", static_cast<double>(series.count) / runSeconds_);
  }

  void addText(const pwr::SeriesTotals& series) const {
    if (series.durationTicks > 0 && runSeconds_ > 0.0) {
      addFigure(series, FigureForm::Share, "%",
                100.0 * secondsOf(series.durationTicks) / runSeconds_);
    }
    addPerSecond(series);
    addFigure(series, FigureForm::Total, "", static_cast<double>(series.count));
  }

  void addCounter(const pwr::SeriesTotals& series) const {
    const bool isTime = pwr::isTime(metric_.quantity);
    const double total =
        isTime ? series.sum / (ticksPerMicrosecond_ * kMicrosecondsPerMillisecond) : series.sum;
    const std::string unit = pwr::shownUnits(metric_.quantity);
    addFigure(series, FigureForm::Total, unit, total);
    const pwr::Quantity* rate = nullptr;
    double factor = 1.0;
    const bool hasRate =
        metric_.quantity != nullptr && metric_.quantity->getRateConversion(rate, factor) == 0;
    const double seconds = series.durationTicks > 0 ? secondsOf(series.durationTicks) : runSeconds_;
    if (seconds <= 0.0) return;
    addFigure(series, FigureForm::Rate, hasRate ? pwr::shownUnits(rate) : unit + "/s",
              (hasRate ? series.sum * factor : total) / seconds);
  }

  void addMean(const pwr::SeriesTotals& series) const {
    const bool isTimed = series.durationTicks > 0 && !pwr::isRate(metric_.quantity);
    double mean = isTimed ? series.weightedSum / static_cast<double>(series.durationTicks)
                          : series.sum / static_cast<double>(series.count);
    if (pwr::isTime(metric_.quantity)) mean /= ticksPerMicrosecond_ * kMicrosecondsPerMillisecond;
    addFigure(series, FigureForm::Mean, pwr::shownUnits(metric_.quantity), mean);
  }

  const std::string name_;
  const pwr::MetricDescription& metric_;
  const double ticksPerMicrosecond_;
  const double runSeconds_;
  std::map<FigureKey, Figure>& figures_;
};

RunFacts factsOf(const pwr::SystemMetadata& system) {
  return {.host = system.getHostName(),
          .processor = system.getCPUNativeModelName(0),
          .system = system.getOSName() + " " + system.getOSVersion(),
          .clock = plainNumber(system.getTscFrequencyMHz()) + " MHz",
          .startNs = system.getCollectionStartTimeNs(),
          .startTicks = system.getCollectionStartTimestamp(),
          .seconds = system.getCollectionDurationSec()};
}

}  // namespace

const char* nameOf(FigureForm form) {
  constexpr const char* kNames[] = {"mean", "share", "rate", "total"};
  return kNames[static_cast<std::size_t>(form)];
}

pwr::MetricTotals& RunFigures::totalsOf(const pwr::Metric& metric) {
  return totals_.try_emplace(metric.getId(), metric.getDescription()).first->second;
}

/// Of more owners than a metric may have texts, the rest counts as one.
void RunFigures::addOwners(const pwr::Metric& metric) {
  std::map<std::string, double>& sums = owners_[metric.getId()];
  for (const pwr::DataElement& element : metric.getData().elements) {
    double number = 0.0;
    if (element.getAttributes() == nullptr || element.getValue()->toReal(number) != 0) continue;
    std::string name = ownerName(*element.getAttributes());
    const bool isKnown = sums.contains(name);
    if (!isKnown && sums.size() >= pwr::MetricTotals::kMostTexts) name = "others";
    sums[std::move(name)] += number;
  }
}

void RunFigures::metric(pwr::Metric& metric) {
  pwr::MetricTotals& totals = totalsOf(metric);
  if (isListOfOwners(*metric.getDescription())) {
    addOwners(metric);
  } else {
    totals.add(metric.getData());
  }
}

void RunFigures::remainder(pwr::Metric& metric) {
  totalsOf(metric).addRemainder(metric.getData());
}

void RunFigures::table(const pwr::TableMessage& message) {
  constexpr std::string_view kSummary = " Summary";
  const std::vector<pwr::Data>& cells = message.getCells();
  const std::vector<const pwr::DataHandle*>& columns = message.getHandles();
  if (cells.size() != 2 || columns.size() != 2 || columns[1]->getFieldName() != "Value") return;
  std::string name;
  double number = 0.0;
  if (cells[0].toString(name) != 0 || cells[1].toReal(number) != 0) return;
  std::string title = message.getTitle();
  if (title.ends_with(kSummary)) title.resize(title.size() - kSummary.size());
  std::string unit;
  if (const std::size_t open = name.rfind(" ("); open != std::string::npos && name.back() == ')') {
    unit = name.substr(open + 2, name.size() - open - 3);
    name.resize(open);
  }
  told_.insert_or_assign(
      {.metric = std::move(title), .descriptor = std::move(name), .form = FigureForm::Total},
      Figure{.value = number, .unit = unit, .isEnergy = unit == "J"});
}

ComparedRun RunFigures::take() {
  ComparedRun run;
  if (metadata_ == nullptr) return run;
  run.facts = factsOf(*metadata_);
  for (auto& [key, figure] : told_) figure.seconds = run.facts.seconds;
  run.figures = std::move(told_);
  std::map<std::string, int> uses;
  for (const auto& [id, totals] : totals_) ++uses[totals.metric()->name];
  for (auto& [id, totals] : totals_) {
    totals.endStates(metadata_->getCollectionStopTimestamp());
    const pwr::MetricDescription& metric = *totals.metric();
    const bool isSole = uses[metric.name] == 1;
    const MetricFigures figures(isSole ? metric.name : metric.name + " (" + metric.featureTag + ")",
                                metric, *metadata_, run.figures);
    figures.add(pwr::withWholeMachine(totals));
    const auto owners = owners_.find(id);
    if (owners != owners_.end()) figures.addOwners(owners->second);
  }
  return run;
}

}  // namespace tavrin
