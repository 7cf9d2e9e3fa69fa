#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SysRoot.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/TopTree.h"

namespace tavrin {

/// Keeps damaged numbers of CPUs from filling the memory.
inline constexpr unsigned int kMostCpus = 65536;

/// Reads a list such as "0-3,8", as far as it ascends.
void parseCpuList(std::string_view text, std::vector<unsigned int>& cpus);

/// Which CPUs are online at a moment.
class OnlineCpus {
 public:
  explicit OnlineCpus(const SysRoot& root);

  /// Asks the kernel again.
  void read();
  /// Ascending; empty where the kernel does not tell.
  const std::vector<unsigned int>& cpus() const { return cpus_; }
  /// True for every CPU where the kernel does not tell.
  bool contains(unsigned int cpu) const;

 private:
  OpenFile list_;  // its text is about all CPUs: reading theirs waits for a CPU that is on its way
  std::vector<unsigned int> cpus_;
};

/// The CPUs that were online at the start, with their entities: "Package0" (level "Package"),
/// "Core0" ("Core") below it, "CPU0" ("Thread") below that. CPUs that come later are not collected.
///
/// The kernel numbers clusters everywhere, but only where some of them join several cores of a
/// package that has more than one cluster do they tell something: there they become modules
/// ("Module0", level "Module") between the package and its cores, elsewhere they are left out.
/// Dies have no level of their own. Where the cores of each die of a package are numbered from 0,
/// those of the package get numbers of their own, die after die.
///
/// Without topology files all CPUs are cores of one package.
class CpuEntities {
 public:
  struct Cpu {
    unsigned int number = 0;
    unsigned int package = 0;
    unsigned int die = 0;
    int module = -1;  ///< negative when there are no modules
    unsigned int core = 0;
    const pwr::EntityHandle* entity = nullptr;
  };

  /// Creates the entities; a process does so once for a machine.
  explicit CpuEntities(const SysRoot& root);

  /// Ascending by number.
  const std::vector<Cpu>& cpus() const { return cpus_; }
  void describe(pwr::TopTree& topology) const;

 private:
  void readTopology(const SysRoot& root);
  void tellCoresOfDiesApart();
  void dropMeaninglessModules();
  void createEntities();
  const pwr::EntityHandle* findOrCreate(const std::string& name, const char* level,
                                        const pwr::EntityHandle* parent);

  std::vector<Cpu> cpus_;
  std::map<std::pair<const pwr::EntityHandle*, std::string>, const pwr::EntityHandle*> parents_;
};

}  // namespace tavrin
