#pragma once

#include <map>
#include <mutex>
#include <optional>
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

/// The CPUs that were online at any time of the run so far, with their entities: "Package0" (level
/// "Package"), "Core0" ("Core") below it, "CPU0" ("Thread") below that.
///
/// The kernel numbers clusters everywhere, but only where some of them join several cores of a
/// package that has more than one cluster do they tell something: there they become modules
/// ("Module0", level "Module") between the package and its cores, elsewhere they are left out.
/// Dies have no level of their own. Where the cores of each die of a package are numbered from 0,
/// those of the package get numbers of their own, die after die.
///
/// Without topology files all CPUs are cores of one package. Where there are some, a CPU that comes
/// later joins when its own have come.
///
/// The files of a CPU appear one after the other while it comes online, so some passes in the two
/// seconds after a change of the online CPUs are those to look for new ones (`hasNews`).
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

  /// Creates the entities; a process does so once for a machine. `root` must outlive them.
  explicit CpuEntities(const SysRoot& root);

  /// For the thread that samples, in each pass before the CPUs are used: asks the kernel at `now`
  /// (ticks), once per pass however often it is called, and lets new CPUs join.
  void updateAt(unsigned long long now);
  /// As of the last update.
  const OnlineCpus& online() const { return online_; }
  /// Whether CPUs, or files of theirs, may have come since the last update.
  bool hasNews() const { return hasNews_; }

  /// Ascending by number; changes with an update.
  const std::vector<Cpu>& cpus() const { return cpus_; }
  /// Null for a CPU that has not joined. Valid until the next update.
  const Cpu* find(unsigned int number) const;

  /// The entity of a CPU, also of one that is about to join; null where its files have not come.
  /// For any thread.
  const pwr::EntityHandle* entityOf(unsigned int number);
  /// Adds all CPUs that have an entity. For any thread.
  void describe(pwr::TopTree& topology) const;

 private:
  using CoreOfDie = std::pair<unsigned int, unsigned int>;  // die and the number it has there

  Cpu readCpu(unsigned int number) const;
  bool hasTopology(unsigned int number) const;
  void readTopology();
  void tellCoresOfDiesApart();
  void dropMeaninglessModules();
  void createEntity(Cpu& cpu);
  const Cpu* meet(unsigned int number);
  void join(unsigned int number);
  unsigned int coreOf(const Cpu& cpu);
  const pwr::EntityHandle* findOrCreate(const std::string& name, const char* level,
                                        const pwr::EntityHandle* parent);

  const SysRoot& root_;
  OnlineCpus online_;
  std::vector<unsigned int> lastOnline_;
  std::optional<unsigned long long> now_;
  int looks_ = 0;                    // for news, that are still to come
  unsigned long long nextLook_ = 0;  // ticks
  bool hasNews_ = false;
  bool isTopologyTold_ = false;
  bool hasModules_ = false;
  std::vector<Cpu> cpus_;
  mutable std::mutex mutex_;  // of what follows
  std::map<unsigned int, Cpu> known_;
  std::map<unsigned int, std::map<CoreOfDie, unsigned int>> cores_;  // by package: their numbers
  std::map<std::pair<const pwr::EntityHandle*, std::string>, const pwr::EntityHandle*> parents_;
};

}  // namespace tavrin
