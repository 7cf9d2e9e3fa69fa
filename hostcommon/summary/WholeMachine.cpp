#include "hostcommon/summary/WholeMachine.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <map>
#include <set>
#include <string_view>

#include "hostcommon/Descriptions.h"
#include "hostcommon/summary/BusyTime.h"

namespace pwr {

namespace {

using Entity = const EntityHandle*;
using Type = Metric::MetricType;

bool isOfCpus(const MetricDescription& metric) {
  return metric.entityGroup != nullptr && metric.entityGroup->getName() == "CPU";
}

/// Whether the values of the metric's things add up to that of all of them.
bool addsUp(const MetricTotals& totals) {
  const Type type = totals.metric()->type;
  return totals.hasStates() || (!totals.isCategorical() &&
                                (type == Type::SampledDelta || type == Type::SampledResidency));
}

Entity allCpus() {
  static const Entity entity = createEntity({.name = "all CPUs", .level = "Machine"});
  return entity;
}

Entity allPackages() {
  static const Entity entity = createEntity({.name = "all packages", .level = "Machine"});
  return entity;
}

Entity packageOf(Entity entity) {
  while (entity != nullptr && entity->getLevel() != "Package") entity = entity->getParent();
  return entity;
}

bool isPackageZone(Entity entity) {
  const std::string& name = entity->getName();
  return entity->getLevel() == "Power Zone" && name.starts_with("package-") &&
         name.find('/') == std::string::npos;
}

/// What of the things of a metric belongs together: the whole first.
class Groups {
 public:
  explicit Groups(const MetricTotals& totals) {
    std::set<Entity> known;
    for (const SeriesTotals& series : totals.series()) {
      if (series.entity != nullptr && known.insert(series.entity).second) {
        add(*totals.metric(), series.entity);
      }
    }
    // The only thing is the whole, and the only package the machine.
    const auto isWhole = [](Entity group) { return group == allCpus() || group == allPackages(); };
    const auto packages = std::ranges::count_if(order_, std::not_fn(isWhole));
    std::erase_if(order_, [&](Entity group) {
      return isWhole(group) ? members_.at(group).size() < 2 : packages < 2;
    });
  }

  const std::vector<Entity>& order() const { return order_; }
  bool contains(Entity group) const { return std::ranges::count(order_, group) > 0; }
  bool contains(Entity group, Entity member) const { return members_.at(group).contains(member); }
  std::size_t cpus() const { return cpus_; }

 private:
  void add(const MetricDescription& metric, Entity entity) {
    if (isOfCpus(metric)) {
      ++cpus_;
      join(allCpus(), entity);
      if (const Entity package = packageOf(entity); package != nullptr) join(package, entity);
    } else if (isPackageZone(entity)) {
      join(allPackages(), entity);
    }
  }
  void join(Entity group, Entity member) {
    const auto [place, isNew] = members_.try_emplace(group);
    if (isNew) order_.push_back(group);
    place->second.insert(member);
  }

  std::vector<Entity> order_;
  std::map<Entity, std::set<Entity>> members_;
  std::size_t cpus_ = 0;
};

const DataDescriptor* busyDescriptor() {
  static const auto* const descriptor =
      DataDescriptor::create(DataDescriptorBuilder("Busy", "Neither asleep nor idle"));
  return descriptor;
}

/// What the idle states leave of the time that was measured, a series for each thing.
std::vector<SeriesTotals> busySeries(const MetricTotals& totals) {
  std::vector<SeriesTotals> all;
  const IdleStates* const idle = idleStatesOf(*totals.metric());
  if (idle == nullptr) return all;
  std::map<Entity, std::size_t> places;
  std::vector<double> asleep;  // by place, in ticks
  for (const SeriesTotals& series : totals.series()) {
    const auto [place, isNew] = places.try_emplace(series.entity, all.size());
    if (isNew) {
      all.push_back({.entity = series.entity, .descriptor = busyDescriptor()});
      asleep.push_back(0.0);
    }
    unsigned long long& measured = all[place->second].durationTicks;
    measured = std::max(measured, series.durationTicks);
    if (isIdle(*idle, series.descriptor)) asleep[place->second] += series.sum;
  }
  for (std::size_t i = 0; i < all.size(); ++i) {
    const auto measured = static_cast<double>(all[i].durationTicks);
    all[i].addToSum(Data(0.0), std::max(0.0, measured - asleep[i]));
  }
  return all;
}

void addToGroup(SeriesTotals& group, const SeriesTotals& one, bool addsTimes) {
  const unsigned long long both = group.durationTicks + one.durationTicks;
  group.addTotals(one);
  group.count += one.count;
  if (addsTimes) group.durationTicks = both;
}

/// The series of a group, of the kinds that its members have.
void appendGroup(std::vector<SeriesTotals>& all, Entity group, const Groups& groups,
                 const std::vector<SeriesTotals>& series, bool addsTimes) {
  std::map<std::pair<const DataDescriptor*, std::string>, std::size_t> places;
  for (const SeriesTotals& one : series) {
    if (!groups.contains(group, one.entity)) continue;
    const auto [place, isNew] = places.try_emplace({one.descriptor, one.value}, all.size());
    if (isNew) {
      all.push_back({.entity = group,
                     .descriptor = one.descriptor,
                     .isText = one.isText,
                     .value = one.value});
    }
    addToGroup(all[place->second], one, addsTimes);
  }
}

/// The number of a CPU that has the name; those without a number come first.
unsigned int cpuNumber(Entity entity) {
  if (entity == nullptr) return 0;
  const std::string& name = entity->getName();
  const std::size_t digits = name.find_last_not_of("0123456789") + 1;
  unsigned int number = 0;
  std::from_chars(name.data() + digits, name.data() + name.size(), number);
  return number;
}

/// States of CPUs come in the order in which they end.
MetricTotals inOrderOfCpus(const MetricTotals& totals) {
  if (!isOfCpus(*totals.metric())) return totals;
  std::vector<SeriesTotals> series = totals.series();
  std::ranges::stable_sort(series, {},
                           [](const SeriesTotals& one) { return cpuNumber(one.entity); });
  return totals.withSeries(std::move(series));
}

}  // namespace

MetricTotals withWholeMachine(const MetricTotals& totals) {
  MetricTotals ordered = inOrderOfCpus(totals);
  const bool hasTexts = ordered.isCategorical() && !ordered.hasStates();
  if (!addsUp(ordered) && !(hasTexts && isOfCpus(*ordered.metric()))) return ordered;
  const Groups groups(ordered);
  const bool addsTimes = ordered.metric()->type != Type::SampledDelta;
  std::vector<SeriesTotals> all;
  if (hasTexts && groups.contains(allCpus())) {
    appendGroup(all, allCpus(), groups, ordered.series(), addsTimes);
    return ordered.withSeries(std::move(all));
  }
  std::vector<SeriesTotals> series = busySeries(ordered);
  series.insert(series.end(), ordered.series().begin(), ordered.series().end());
  for (const Entity group : groups.order()) appendGroup(all, group, groups, series, addsTimes);
  const bool hasCpuRows = groups.cpus() <= kMostCpuRows;
  if (hasCpuRows) all.insert(all.end(), series.begin(), series.end());
  return ordered.withSeries(std::move(all));
}

}  // namespace pwr
