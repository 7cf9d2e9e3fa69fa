#include "tavrin/collect/CpuEntities.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr std::string_view kCpuFolder = "/sys/devices/system/cpu";

/// A change of the CPUs is followed by several looks for what it brought: not at once, when only
/// some of the files of a CPU may be there.
constexpr int kLooksForNews = 4;
constexpr unsigned long long kFirstLookPause = kTicksPerSecond / 10;
constexpr unsigned long long kLookPause = kTicksPerSecond / 2;

std::vector<unsigned int> presentCpus(const SysRoot& root, const OnlineCpus& online) {
  if (!online.cpus().empty()) return online.cpus();
  std::vector<unsigned int> folders = root.listNumbered(kCpuFolder, "cpu");
  std::erase_if(folders, [](unsigned int cpu) { return cpu >= kMostCpus; });
  return folders;
}

std::string topologyFile(unsigned int cpu, const char* file) {
  return std::string(kCpuFolder) + "/cpu" + std::to_string(cpu) + "/topology/" + file;
}

/// A number of the CPU's topology, or `fallback` where the file is missing or tells -1.
template <typename Number>
Number readId(const SysRoot& root, unsigned int cpu, const char* file, Number fallback) {
  long long id = -1;
  const bool isTold = root.readNumber(topologyFile(cpu, file), id) == 0 && id >= 0;
  return isTold ? static_cast<Number>(id) : fallback;
}

}  // namespace

void parseCpuList(std::string_view text, std::vector<unsigned int>& cpus) {
  cpus.clear();
  unsigned int first = 0;
  while (takeNumber(text, first) && first < kMostCpus) {
    unsigned int last = first;
    if (text.starts_with('-')) {
      text.remove_prefix(1);
      if (!takeNumber(text, last)) return;
    }
    if (last >= kMostCpus || (!cpus.empty() && first <= cpus.back())) return;
    for (unsigned int cpu = first; cpu <= last; ++cpu) cpus.push_back(cpu);
    if (!text.starts_with(',')) return;
    text.remove_prefix(1);
  }
}

OnlineCpus::OnlineCpus(const SysRoot& root)
    : list_(root.path(std::string(kCpuFolder) + "/online")) {
  read();
}

void OnlineCpus::read() {
  std::string_view text;
  if (list_.readText(text) != 0) text = {};
  parseCpuList(text, cpus_);
}

bool OnlineCpus::contains(unsigned int cpu) const {
  return cpus_.empty() || std::ranges::binary_search(cpus_, cpu);
}

CpuEntities::CpuEntities(const SysRoot& root)
    : root_(root), online_(root), lastOnline_(online_.cpus()) {
  readTopology();
  tellCoresOfDiesApart();
  dropMeaninglessModules();
  for (Cpu& cpu : cpus_) {
    createEntity(cpu);
    known_.emplace(cpu.number, cpu);
  }
}

CpuEntities::Cpu CpuEntities::readCpu(unsigned int number) const {
  return {.number = number,
          .package = readId(root_, number, "physical_package_id", 0U),
          .die = readId(root_, number, "die_id", 0U),
          .module = readId(root_, number, "cluster_id", -1),
          .core = readId(root_, number, "core_id", number)};
}

bool CpuEntities::hasTopology(unsigned int number) const {
  long long id = 0;
  return root_.readNumber(topologyFile(number, "core_id"), id) == 0;
}

void CpuEntities::readTopology() {
  for (const unsigned int number : presentCpus(root_, online_)) {
    cpus_.push_back(readCpu(number));
    isTopologyTold_ = isTopologyTold_ || hasTopology(number);
  }
}

void CpuEntities::tellCoresOfDiesApart() {
  std::map<std::pair<unsigned int, unsigned int>, unsigned int> dies;  // by package and core
  bool isShared = false;
  for (const Cpu& cpu : cpus_) {
    isShared |= dies.try_emplace({cpu.package, cpu.core}, cpu.die).first->second != cpu.die;
    cores_[cpu.package].try_emplace({cpu.die, cpu.core}, cpu.core);
  }
  if (!isShared) return;
  for (auto& [package, numbers] : cores_) {
    unsigned int next = 0;
    for (auto& [core, number] : numbers) number = next++;
  }
  for (Cpu& cpu : cpus_) cpu.core = cores_[cpu.package][{cpu.die, cpu.core}];
}

/// The number that the core of a CPU that joins has or gets: its own, unless another die has it.
unsigned int CpuEntities::coreOf(const Cpu& cpu) {
  auto& numbers = cores_[cpu.package];
  const auto known = numbers.find({cpu.die, cpu.core});
  if (known != numbers.end()) return known->second;
  unsigned int number = cpu.core;
  unsigned int next = 0;
  bool isTaken = false;
  for (const auto& [core, taken] : numbers) {
    isTaken = isTaken || taken == number;
    next = std::max(next, taken + 1);
  }
  if (isTaken) number = next;
  numbers[{cpu.die, cpu.core}] = number;
  return number;
}

const CpuEntities::Cpu* CpuEntities::find(unsigned int number) const {
  const auto place = std::ranges::lower_bound(cpus_, number, {}, &Cpu::number);
  return place != cpus_.end() && place->number == number ? &*place : nullptr;
}

/// With the mutex held. Null for a CPU that tells no topology where others do.
const CpuEntities::Cpu* CpuEntities::meet(unsigned int number) {
  const auto known = known_.find(number);
  if (known != known_.end()) return &known->second;
  if (isTopologyTold_ && !hasTopology(number)) return nullptr;
  Cpu cpu = readCpu(number);
  cpu.core = coreOf(cpu);
  if (!hasModules_) cpu.module = -1;
  createEntity(cpu);
  return &known_.emplace(number, cpu).first->second;
}

const pwr::EntityHandle* CpuEntities::entityOf(unsigned int number) {
  const std::scoped_lock lock(mutex_);
  const Cpu* const cpu = meet(number);
  return cpu == nullptr ? nullptr : cpu->entity;
}

void CpuEntities::join(unsigned int number) {
  if (find(number) != nullptr) return;
  const std::scoped_lock lock(mutex_);
  const Cpu* const cpu = meet(number);
  if (cpu == nullptr) return;
  cpus_.insert(std::ranges::lower_bound(cpus_, number, {}, &Cpu::number), *cpu);
}

void CpuEntities::updateAt(unsigned long long now) {
  if (now_ == now) return;
  now_ = now;
  online_.read();
  if (online_.cpus() != lastOnline_) {
    lastOnline_ = online_.cpus();
    looks_ = kLooksForNews;
    nextLook_ = now + kFirstLookPause;
  }
  hasNews_ = looks_ > 0 && now >= nextLook_;
  if (!hasNews_) return;
  --looks_;
  nextLook_ = now + kLookPause;
  for (const unsigned int number : lastOnline_) join(number);
}

void CpuEntities::dropMeaninglessModules() {
  std::set<unsigned int> packages;
  std::set<std::pair<unsigned int, int>> modules;
  std::set<std::tuple<unsigned int, int, unsigned int>> cores;
  bool known = true;
  for (const Cpu& cpu : cpus_) {
    packages.insert(cpu.package);
    modules.emplace(cpu.package, cpu.module);
    cores.emplace(cpu.package, cpu.module, cpu.core);
    known = known && cpu.module >= 0;
  }
  hasModules_ = known && modules.size() > packages.size() && modules.size() < cores.size();
  if (hasModules_) return;
  for (Cpu& cpu : cpus_) cpu.module = -1;
}

void CpuEntities::createEntity(Cpu& cpu) {
  const pwr::EntityHandle* parent =
      findOrCreate("Package" + std::to_string(cpu.package), "Package", nullptr);
  if (cpu.module >= 0) {
    parent = findOrCreate("Module" + std::to_string(cpu.module), "Module", parent);
  }
  parent = findOrCreate("Core" + std::to_string(cpu.core), "Core", parent);
  cpu.entity = findOrCreate("CPU" + std::to_string(cpu.number), "Thread", parent);
}

const pwr::EntityHandle* CpuEntities::findOrCreate(const std::string& name, const char* level,
                                                   const pwr::EntityHandle* parent) {
  const pwr::EntityHandle*& entity = parents_[{parent, name}];
  if (entity == nullptr) {
    entity = pwr::createEntity({.name = name, .level = level, .parent = parent});
  }
  return entity;
}

void CpuEntities::describe(pwr::TopTree& topology) const {
  const std::scoped_lock lock(mutex_);
  for (const auto& [number, cpu] : known_) {
    topology.addThread(cpu.package, cpu.module, cpu.core, cpu.number);
  }
}

}  // namespace tavrin
