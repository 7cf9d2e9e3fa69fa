#include "tavrin/collect/FeatureRegistry.h"

#include "tavrin/collect/BatteryFeature.h"
#include "tavrin/collect/CommandFeature.h"
#include "tavrin/collect/CoreCStateFeature.h"
#include "tavrin/collect/CpuFreqFeature.h"
#include "tavrin/collect/CpuTimeFeature.h"
#include "tavrin/collect/DeviceStateFeature.h"
#include "tavrin/collect/DiskFeature.h"
#include "tavrin/collect/EnergyFeature.h"
#include "tavrin/collect/GpuFeature.h"
#include "tavrin/collect/InterruptsFeature.h"
#include "tavrin/collect/MemoryFeature.h"
#include "tavrin/collect/NetworkFeature.h"
#include "tavrin/collect/PackageIdleFeature.h"
#include "tavrin/collect/PressureFeature.h"
#include "tavrin/collect/ProcessEnergyFeature.h"
#include "tavrin/collect/ProcessFeature.h"
#include "tavrin/collect/SensorsFeature.h"
#include "tavrin/collect/ThermalFeature.h"
#include "tavrin/collect/ThrottleFeature.h"
#include "tavrin/collect/TraceFeature.h"
#include "tavrin/collect/UncoreFreqFeature.h"
#include "tavrin/collect/WakeupFeature.h"

namespace tavrin {

std::vector<std::unique_ptr<Feature>> createFeatures(const ChildProcess* command,
                                                     std::size_t mostEnded) {
  const auto stat = std::make_shared<StatFile>();
  const auto lives = std::make_shared<ProcessTable>(mostEnded);
  const auto energy = std::make_shared<EnergyCounters>();
  const auto processes = std::make_shared<ProcessPoll>(lives, stat);
  std::vector<std::unique_ptr<Feature>> features;
  features.push_back(std::make_unique<CoreCStateFeature>());
  features.push_back(std::make_unique<CpuTimeFeature>(stat));
  features.push_back(std::make_unique<CpuFreqFeature>());
  features.push_back(std::make_unique<ThermalFeature>());
  features.push_back(std::make_unique<EnergyFeature>(energy));
  features.push_back(std::make_unique<InterruptsFeature>(stat));
  features.push_back(std::make_unique<DiskFeature>());
  features.push_back(std::make_unique<NetworkFeature>());
  features.push_back(std::make_unique<MemoryFeature>());
  features.push_back(std::make_unique<PressureFeature>());
  features.push_back(std::make_unique<ThrottleFeature>());
  features.push_back(std::make_unique<SensorsFeature>());
  features.push_back(std::make_unique<BatteryFeature>());
  features.push_back(std::make_unique<DeviceStateFeature>());
  features.push_back(std::make_unique<WakeupFeature>());
  features.push_back(std::make_unique<PackageIdleFeature>());
  features.push_back(std::make_unique<GpuFeature>());
  features.push_back(std::make_unique<UncoreFreqFeature>());
  features.push_back(std::make_unique<ProcessFeature>(processes, stat));
  features.push_back(std::make_unique<ProcessEnergyFeature>(processes, energy));
  features.push_back(std::make_unique<CommandFeature>(command, energy));
  for (auto& feature : createTraceFeatures(lives)) features.push_back(std::move(feature));
  return features;
}

}  // namespace tavrin
