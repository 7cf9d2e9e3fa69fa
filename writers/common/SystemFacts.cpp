#include "writers/common/SystemFacts.h"

namespace {

using System = const pwr::SystemMetadata&;
using Value = SystemFactValue;
using enum SystemFactGroup;

constexpr SystemFact kFacts[] = {
    {Platform, "Platform ID", nullptr, true,
     [](System s) { return Value(std::uint64_t{s.getPlatformId()}); }},
    {Platform, "Platform Name", "Platform", true,
     [](System s) { return Value(s.getPlatformName()); }},
    {Platform, "CPU Name", "Processor code name", true,
     [](System s) { return Value(s.getFormattedCPUCodeName()); }},
    {Platform, "CPU Native Name", "Processor", true,
     [](System s) { return Value(s.getCPUNativeModelName(0)); }},
    {Platform, "PCH Name", "Platform controller hubs", true,
     [](System s) { return Value(s.getFormattedPCHDeviceNamesStr(", ")); }},
    {Platform, "Host Name", "Host", true, [](System s) { return Value(s.getHostName()); }},
    {Platform, "Num Packages", "Packages", true,
     [](System s) { return Value(s.getTopTree().getNumPackages()); }},
    {Platform, "Num Modules", "Modules", true,
     [](System s) { return Value(s.getTopTree().getNumModules()); }},
    {Platform, "Num Cores", "Cores", true,
     [](System s) { return Value(s.getTopTree().getNumCores()); }},
    {Platform, "Num Threads", "Threads", true,
     [](System s) { return Value(s.getTopTree().getNumThreads()); }},
    {Platform, "HFM Frequency MHz", "Highest frequency (MHz)", true,
     [](System s) { return Value(s.getHFMFrequencyMHz()); }},
    {Platform, "LFM Frequency MHz", "Lowest frequency (MHz)", true,
     [](System s) { return Value(s.getLFMFrequencyMHz()); }},
    {Platform, "CPU Frequency MHz", "CPU frequency (MHz)", true,
     [](System s) { return Value(s.getCPUFrequencyMHz()); }},
    {Platform, "Bus Frequency MHz", "Bus frequency (MHz)", true,
     [](System s) { return Value(s.getBusFrequencyMHz()); }},

    {OperatingSystem, "OS Name", "Operating system", true,
     [](System s) { return Value(s.getOSName()); }},
    {OperatingSystem, "OS Type", "Architecture", true,
     [](System s) { return Value(s.getOSType()); }},
    {OperatingSystem, "OS Version", "Operating system version", true,
     [](System s) { return Value(s.getOSVersion()); }},

    {Collection, "Tavrin Version", "Product version", false,
     [](System s) { return Value(s.getProductVersion()); }},
    {Collection, "Tavrin Driver Version", "Driver version", false,
     [](System s) { return Value(s.getDriverVersion()); }},
    {Collection, nullptr, "Collection start time", false,
     [](System s) { return Value(s.getCollectionStartTime()); }},
    {Collection, "Collection Start Timestamp", "Collection start timestamp", true,
     [](System s) { return Value(std::uint64_t{s.getCollectionStartTimestamp()}); }},
    {Collection, "Collection Stop Timestamp", "Collection stop timestamp", true,
     [](System s) { return Value(std::uint64_t{s.getCollectionStopTimestamp()}); }},
    {Collection, "Collection Duration", "Collection duration (s)", true,
     [](System s) { return Value(s.getCollectionDurationSec()); }},
    {Collection, nullptr, "Timestamp clock (MHz)", false,
     [](System s) { return Value(std::uint64_t{s.getTimestampClockFrequencyMHz()}); }},
    {Collection, nullptr, "TSC frequency (MHz)", false,
     [](System s) { return Value(s.getDescription().tscFrequencyMHz); }},
    {Collection, "Collection Command Line", "Command line", false,
     [](System s) { return Value(s.getCommandLine()); }},
};

}  // namespace

std::span<const SystemFact> systemFacts() {
  return kFacts;
}
