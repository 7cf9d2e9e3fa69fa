#include "tavrin/collect/CpuEntities.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/TextScan.h"

namespace tavrin {

namespace {

constexpr std::string_view kCpuFolder = "/sys/devices/system/cpu";

std::vector<unsigned int> presentCpus(const SysRoot& root) {
  OnlineCpus online(root);
  if (!online.cpus().empty()) return online.cpus();
  std::vector<unsigned int> folders = root.listNumbered(kCpuFolder, "cpu");
  std::erase_if(folders, [](unsigned int cpu) { return cpu >= kMostCpus; });
  return folders;
}

/// A number of the CPU's topology, or `fallback` where the file is missing or tells -1.
template <typename Number>
Number readId(const SysRoot& root, unsigned int cpu, const char* file, Number fallback) {
  long long id = -1;
  const std::string path =
      std::string(kCpuFolder) + "/cpu" + std::to_string(cpu) + "/topology/" + file;
  return root.readNumber(path, id) == 0 && id >= 0 ? static_cast<Number>(id) : fallback;
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

CpuEntities::CpuEntities(const SysRoot& root) {
  readTopology(root);
  tellCoresOfDiesApart();
  dropMeaninglessModules();
  createEntities();
}

void CpuEntities::readTopology(const SysRoot& root) {
  for (const unsigned int number : presentCpus(root)) {
    cpus_.push_back({.number = number,
                     .package = readId(root, number, "physical_package_id", 0U),
                     .die = readId(root, number, "die_id", 0U),
                     .module = readId(root, number, "cluster_id", -1),
                     .core = readId(root, number, "core_id", number)});
  }
}

void CpuEntities::tellCoresOfDiesApart() {
  using Core = std::pair<unsigned int, unsigned int>;          // die and number
  std::map<Core, unsigned int> dies;                           // by package and number of the core
  std::map<unsigned int, std::map<Core, unsigned int>> cores;  // by package: their own numbers
  bool isShared = false;
  for (const Cpu& cpu : cpus_) {
    isShared |= dies.try_emplace({cpu.package, cpu.core}, cpu.die).first->second != cpu.die;
    cores[cpu.package].try_emplace({cpu.die, cpu.core});
  }
  if (!isShared) return;
  for (auto& [package, numbers] : cores) {
    unsigned int next = 0;
    for (auto& [core, number] : numbers) number = next++;
  }
  for (Cpu& cpu : cpus_) cpu.core = cores[cpu.package][{cpu.die, cpu.core}];
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
  if (known && modules.size() > packages.size() && modules.size() < cores.size()) return;
  for (Cpu& cpu : cpus_) cpu.module = -1;
}

void CpuEntities::createEntities() {
  for (Cpu& cpu : cpus_) {
    const pwr::EntityHandle* parent =
        findOrCreate("Package" + std::to_string(cpu.package), "Package", nullptr);
    if (cpu.module >= 0) {
      parent = findOrCreate("Module" + std::to_string(cpu.module), "Module", parent);
    }
    parent = findOrCreate("Core" + std::to_string(cpu.core), "Core", parent);
    cpu.entity = findOrCreate("CPU" + std::to_string(cpu.number), "Thread", parent);
  }
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
  for (const Cpu& cpu : cpus_) {
    topology.addThread(cpu.package, cpu.module, cpu.core, cpu.number);
  }
}

}  // namespace tavrin
