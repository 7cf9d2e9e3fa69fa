#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "writers/host/HostApi.h"
#include "writers/host/NameValuePair.h"
#include "writers/host/Process.h"
#include "writers/host/TopTree.h"

namespace pwr {

/// How many events of one source, such as a buffer of the kernel's, came too fast to be collected.
struct LostEvents {
  std::string source;
  unsigned long long count = 0;
};

/// What a `SystemMetadata` tells. Frequencies are in MHz, timestamps in ticks of the timestamp
/// clock, and 0 or empty where the host does not know.
struct SystemDescription {
  unsigned int platformId = 0;
  std::string platformName;
  std::string hostName;
  std::string osName;
  std::string osType;     ///< architecture word, such as "x86_64"
  std::string osVersion;  ///< numbers separated by dots
  std::string cpuCodeName;
  std::string cpuNativeModelName;
  std::vector<std::string> pchDeviceNames;

  float tscFrequencyMHz = 0.0F;                 ///< of the processor's time stamp counter
  unsigned int timestampClockFrequencyMHz = 0;  ///< of the clock whose ticks all times are
  float cpuFrequencyMHz = 0.0F;
  float hfmFrequencyMHz = 0.0F;  ///< highest frequency
  float lfmFrequencyMHz = 0.0F;  ///< lowest frequency
  float busFrequencyMHz = 0.0F;

  std::string collectionStartTime;  ///< wall clock, local time
  double collectionDurationSec = 0.0;
  unsigned long long collectionStartTimestamp = 0;
  unsigned long long collectionStopTimestamp = 0;
  unsigned long long collectionStartTimeNs = 0;  ///< wall clock, nanoseconds since 1970 (UTC)

  std::array<std::uint8_t, 3> cpuId{};  ///< family, model, stepping
  std::uint16_t collectorVersionMajor = 0;
  std::uint8_t collectorVersionMinor = 0;
  std::uint8_t collectorVersionRevision = 0;
  std::string productVersion;
  std::string driverVersion;
  std::string commandLine;

  TopTree topology;
  std::vector<Process> processes;
  std::vector<Thread> threads;
  std::vector<LostEvents> lostEvents;
  std::vector<NameValuePair> infoValues;
};

/// The description of the system that was measured and of the collection. The stop timestamp, the
/// duration, the topology, the processes and the lost events are complete only when the collection
/// has ended.
class PW_HOST_API SystemMetadata {
 public:
  SystemMetadata();
  explicit SystemMetadata(SystemDescription description);
  ~SystemMetadata();
  SystemMetadata(const SystemMetadata&) = delete;
  SystemMetadata& operator=(const SystemMetadata&) = delete;

  unsigned int getPlatformId() const { return d_.platformId; }
  const std::string& getPlatformName() const { return d_.platformName; }
  const std::string& getHostName() const { return d_.hostName; }
  const std::string& getOSName() const { return d_.osName; }
  const std::string& getOSType() const { return d_.osType; }
  const std::string& getOSVersion() const { return d_.osVersion; }
  const std::string& getFormattedCPUCodeName() const { return d_.cpuCodeName; }
  /// The model name of the package with the given index; all packages have the same.
  const std::string& getCPUNativeModelName(unsigned int package) const;
  /// The names of the platform controller hubs, joined by `separator`.
  std::string getFormattedPCHDeviceNamesStr(const std::string& separator) const;
  const std::vector<std::string>& getPCHDeviceNames() const { return d_.pchDeviceNames; }

  /// Ticks per microsecond, by which a writer converts times. That is the timestamp clock's
  /// frequency, whatever is told of the time stamp counter; the counter's counts only where the
  /// clock's is unknown.
  float getTscFrequencyMHz() const {
    return d_.timestampClockFrequencyMHz == 0 ? d_.tscFrequencyMHz
                                              : static_cast<float>(d_.timestampClockFrequencyMHz);
  }
  /// The same as the whole number that was told; 0 where the clock's frequency is unknown.
  unsigned int getTimestampClockFrequencyMHz() const { return d_.timestampClockFrequencyMHz; }
  float getCPUFrequencyMHz() const { return d_.cpuFrequencyMHz; }
  float getHFMFrequencyMHz() const { return d_.hfmFrequencyMHz; }
  float getLFMFrequencyMHz() const { return d_.lfmFrequencyMHz; }
  float getBusFrequencyMHz() const { return d_.busFrequencyMHz; }

  const std::string& getCollectionStartTime() const { return d_.collectionStartTime; }
  double getCollectionDurationSec() const { return d_.collectionDurationSec; }
  unsigned long long getCollectionStartTimestamp() const { return d_.collectionStartTimestamp; }
  unsigned long long getCollectionStopTimestamp() const { return d_.collectionStopTimestamp; }
  unsigned long long getCollectionStartTimeNs() const { return d_.collectionStartTimeNs; }

  const std::array<std::uint8_t, 3>& getCPUId() const { return d_.cpuId; }
  std::uint16_t getCollectorVersionMajor() const { return d_.collectorVersionMajor; }
  std::uint8_t getCollectorVersionMinor() const { return d_.collectorVersionMinor; }
  std::uint8_t getCollectorVersionRevision() const { return d_.collectorVersionRevision; }
  const std::string& getProductVersion() const { return d_.productVersion; }
  const std::string& getDriverVersion() const { return d_.driverVersion; }
  const std::string& getCommandLine() const { return d_.commandLine; }

  const TopTree& getTopTree() const { return d_.topology; }
  const std::vector<Process>& getProcesses() const { return d_.processes; }
  const std::vector<Thread>& getThreads() const { return d_.threads; }
  const std::vector<LostEvents>& getLostEvents() const { return d_.lostEvents; }
  const std::vector<NameValuePair>& getInfoValues() const { return d_.infoValues; }

  /// Everything as it was told, for those that pass it on.
  const SystemDescription& getDescription() const { return d_; }
  /// For the host: what to complete while the collection runs.
  SystemDescription& edit() { return d_; }

 private:
  SystemDescription d_;
};

}  // namespace pwr
