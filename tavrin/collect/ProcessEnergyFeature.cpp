#include "tavrin/collect/ProcessEnergyFeature.h"

#include <algorithm>
#include <numeric>

#include "formats/metric_kinds.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/summary/MetricTables.h"
#include "tavrin/collect/PowerZones.h"

namespace tavrin {

namespace {

constexpr double kMicrojoulesPerMillijoule = 1e3;

pwr::Data millijoules(unsigned long long microjoules) {
  return pwr::Data(static_cast<double>(microjoules) / kMicrojoulesPerMillijoule);
}

const pwr::Quantity* createModelQuantity() {
  return pwr::createQuantity(
      {.type = pwr::QuantityType::Energy, .name = "Energy (Model)", .units = "mJ"});
}

}  // namespace

ProcessEnergyFeature::ProcessEnergyFeature(std::shared_ptr<ProcessPoll> poll,
                                           std::shared_ptr<EnergyCounters> energy)
    : Feature("process-energy", "Process Energy (Model)",
              "Model: energy of packages by processes' processor time"),
      poll_(std::move(poll)),
      energy_(std::move(energy)) {}

std::string ProcessEnergyFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                        unsigned int containerId) {
  std::string whyAbsent = energy_->open(root);
  if (whyAbsent.empty() &&
      std::ranges::none_of(energy_->zones(), &EnergyCounters::Zone::isPackage)) {
    whyAbsent = std::string("no energy counters of packages below ") + kPowerZones;
  }
  if (whyAbsent.empty()) whyAbsent = poll_->open(root);
  if (!whyAbsent.empty()) return whyAbsent;
  ranks_.create();
  idleRank_ = pwr::DataDescriptor::create(
      pwr::DataDescriptorBuilder("Idle", "What the lowest power so far would have used"));
  kernelRank_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Kernel Threads", ""));
  idle_ = poll_->attributesNamed("idle");
  kernel_ = poll_->attributesNamed("kernel threads");
  others_ = poll_->attributesNamed(kOtherProcesses);
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (std::size_t i = 0; i < energy_->zones().size(); ++i) {
    const EnergyCounters::Zone& zone = energy_->zones()[i];
    if (!zone.isPackage) continue;
    packages_.push_back({.zone = i});
    for (const auto& combination : ranks_.combinations(zone.entity)) {
      combinations.push_back(combination);
    }
    for (const auto* rank : {idleRank_, kernelRank_}) combinations.push_back({zone.entity, rank});
  }
  addMetric(pwr::createMetric(
      {.containerId = containerId,
       .name = "Process Energy (Model)",
       .featureTag = tag(),
       .type = pwr::Metric::MetricType::TracedEvent,
       .legacyType = pwr::RealTableClass::Trace,
       .quantity = createModelQuantity(),
       .combinations = std::move(combinations),
       .entityGroup = std::make_shared<const pwr::Field>("Zone"),
       .descriptorGroup = std::make_shared<const pwr::Field>(kRankGroup),
       .valueGroup = std::make_shared<const pwr::Field>("Energy", poll_->expected())}));
  return {};
}

/// What the zone would have used at the lowest power that it has shown, this interval's included.
unsigned long long ProcessEnergyFeature::idleEnergy(Package& package,
                                                    unsigned long long used) const {
  const double seconds =
      static_cast<double>(energy_->interval().length()) / static_cast<double>(kTicksPerSecond);
  const double microwatts = static_cast<double>(used) / seconds;
  if (!package.isKnown || microwatts <= package.lowestMicrowatts) {
    package.isKnown = true;
    package.lowestMicrowatts = microwatts;
    return used;
  }
  return std::min(used, static_cast<unsigned long long>(package.lowestMicrowatts * seconds));
}

/// Divides what a zone used. Each process gets what brings the sum of all so far to their part of
/// the whole, so that nothing is lost by rounding.
void ProcessEnergyFeature::share(Package& package, unsigned long long used) {
  const std::vector<PolledProcess*>& busy = poll_->busy();
  shares_.kernel = 0;
  shares_.processes.assign(busy.size(), 0);
  const unsigned long long idle = idleEnergy(package, used);
  shares_.idle = poll_->spent() == 0 ? used : idle;
  const auto rest = used - shares_.idle;
  unsigned long long time = 0;
  unsigned long long given = 0;
  for (std::size_t i = 0; i < busy.size() && rest > 0; ++i) {
    time += busy[i]->spent;
    const double part = static_cast<double>(time) / static_cast<double>(poll_->spent());
    const auto until = time == poll_->spent()
                           ? rest
                           : std::max(given, std::min(rest, static_cast<unsigned long long>(
                                                                static_cast<double>(rest) * part)));
    const unsigned long long own = until - given;
    given = until;
    if (busy[i]->stat.isKernelThread) {
      shares_.kernel += own;
    } else {
      shares_.processes[i] = own;
    }
  }
  package.idle += shares_.idle;
  package.kernel += shares_.kernel;
}

void ProcessEnergyFeature::addTotals(std::size_t place) {
  for (std::size_t i = 0; i < shares_.processes.size(); ++i) {
    std::vector<unsigned long long>& totals = poll_->busy()[i]->microjoules;
    totals.resize(packages_.size());
    totals[place] += shares_.processes[i];
  }
}

void ProcessEnergyFeature::emit(const Package& package, IntervalPoint& point) {
  const pwr::EntityHandle* const zone = energy_->zones()[package.zone].entity;
  const auto add = [&](unsigned long long energy, const pwr::DataDescriptor* rank,
                       const Attributes& whose) {
    if (energy > 0) point.add(millijoules(energy), rank, zone).setAttributes(whose);
  };
  add(shares_.idle, idleRank_, idle_);
  add(shares_.kernel, kernelRank_, kernel_);
  std::size_t place = 0;
  unsigned long long others = 0;
  for (std::size_t i = 0; i < shares_.processes.size(); ++i) {
    if (shares_.processes[i] == 0) continue;
    if (place == Ranks::kMost) {
      others += shares_.processes[i];
    } else {
      add(shares_.processes[i], ranks_.of(place++), poll_->attributesOf(*poll_->busy()[i]));
    }
  }
  add(others, ranks_.others(), others_);
}

void ProcessEnergyFeature::sample(unsigned long long now, SampleBatch& batch) {
  energy_->readAt(now);
  poll_->pollAt(now);
  for (const PolledProcess& process : poll_->gone()) keep(process);
  IntervalPoint point(batch, metrics().front(), energy_->interval());
  for (std::size_t place = 0; place < packages_.size(); ++place) {
    Package& package = packages_[place];
    const std::optional<unsigned long long> used = energy_->zones()[package.zone].used;
    if (!used) continue;
    share(package, *used);
    addTotals(place);
    emit(package, point);
  }
}

/// Puts a process that uses no more into the report.
void ProcessEnergyFeature::keep(const PolledProcess& process) {
  if (process.stat.isKernelThread || process.microjoules.empty()) return;
  TopRows::Row row{process.stat.name + " (" + std::to_string(process.pid) + ")", {0}, {}};
  row.sums.insert(row.sums.end(), process.microjoules.begin(), process.microjoules.end());
  row.sums.front() = std::accumulate(process.microjoules.begin(), process.microjoules.end(), 0ULL);
  rows_.add(std::move(row));
}

void ProcessEnergyFeature::finish(pwr::SystemDescription& /*system*/, pwr::MessageSink& sink) {
  for (const ProcessPoll::Known& known : poll_->processes()) keep(*known.process);
  pwr::TableBuilder table(
      containerId(), 0, "Process Energy Summary: Model by CPU Time",
      "A model: the lowest power of a package is idle, the rest is shared by the "
      "time on all processors.");
  const pwr::Quantity* const quantity = metrics().front()->quantity;
  table.column("Process");
  table.column("All", quantity);
  for (const Package& package : packages_) {
    table.column(energy_->zones()[package.zone].entity->getName(), quantity);
  }
  const auto addRow = [&](const char* name, unsigned long long Package::*energy) {
    pwr::TableBuilder::Row row{pwr::Data(name), pwr::Data()};
    unsigned long long all = 0;
    for (const Package& package : packages_) {
      row.push_back(millijoules(package.*energy));
      all += package.*energy;
    }
    row[1] = millijoules(all);
    table.row(std::move(row));
  };
  addRow("idle", &Package::idle);
  addRow("kernel threads", &Package::kernel);
  rows_.appendTo(table,
                 [](std::size_t /*place*/, unsigned long long sum) { return millijoules(sum); });
  table.deliver([&](const pwr::TableMessage& message) { sink.table(message); });
}

}  // namespace tavrin
