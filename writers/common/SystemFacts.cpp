#include "writers/common/SystemFacts.h"

namespace {

using System = const pwr::SystemMetadata&;
using Value = SystemFactValue;
using enum SystemFactGroup;

constexpr SystemFact kFacts[] = {
    {Platform, true, "Platform ID", nullptr,
     [](System s) { return Value(std::uint64_t{s.getPlatformId()}); }},
    {Platform, true, "Platform Name", "Platform",
     [](System s) { return Value(s.getPlatformName()); }},
    {Platform, true, "CPU Name", "Processor code name",
     [](System s) { return Value(s.getFormattedCPUCodeName()); }},
    {Platform, true, "CPU Native Name", "Processor",
     [](System s) { return Value(s.getCPUNativeModelName(0)); }},
    {Platform, true, "PCH Name", "Platform controller hubs",
     [](System s) { return Value(s.getFormattedPCHDeviceNamesStr(", ")); }},
    {Platform, true, "Host Name", "Host", [](System s) { return Value(s.getHostName()); }},
    {Platform, true, "Num Packages", "Packages",
     [](System s) { return Value(s.getTopTree().getNumPackages()); }},
    {Platform, true, "Num Modules", "Modules",
     [](System s) { return Value(s.getTopTree().getNumModules()); }},
    {Platform, true, "Num Cores", "Cores",
     [](System s) { return Value(s.getTopTree().getNumCores()); }},
    {Platform, true, "Num Threads", "Threads",
     [](System s) { return Value(s.getTopTree().getNumThreads()); }},
    {Platform, true, "HFM Frequency MHz", "Highest frequency (MHz)",
     [](System s) { return Value(s.getHFMFrequencyMHz()); }},
    {Platform, true, "LFM Frequency MHz", "Lowest frequency (MHz)",
     [](System s) { return Value(s.getLFMFrequencyMHz()); }},
    {Platform, true, "CPU Frequency MHz", "CPU frequency (MHz)",
     [](System s) { return Value(s.getCPUFrequencyMHz()); }},
    {Platform, true, "Bus Frequency MHz", "Bus frequency (MHz)",
     [](System s) { return Value(s.getBusFrequencyMHz()); }},

    {OperatingSystem, true, "OS Name", "Operating system",
     [](System s) { return Value(s.getOSName()); }},
    {OperatingSystem, true, "OS Type", "Architecture",
     [](System s) { return Value(s.getOSType()); }},
    {OperatingSystem, true, "OS Version", "Operating system version",
     [](System s) { return Value(s.getOSVersion()); }},

    {Collection, false, "Tavrin Version", "Product version",
     [](System s) { return Value(s.getProductVersion()); }},
    {Collection, false, "Tavrin Driver Version", "Driver version",
     [](System s) { return Value(s.getDriverVersion()); }},
    {Collection, false, nullptr, "Collection start time",
     [](System s) { return Value(s.getCollectionStartTime()); }},
    {Collection, true, "Collection Start Timestamp", "Collection start timestamp",
     [](System s) { return Value(std::uint64_t{s.getCollectionStartTimestamp()}); }},
    {Collection, true, "Collection Stop Timestamp", "Collection stop timestamp",
     [](System s) { return Value(std::uint64_t{s.getCollectionStopTimestamp()}); }},
    {Collection, true, "Collection Duration", "Collection duration (s)",
     [](System s) { return Value(s.getCollectionDurationSec()); }},
    {Collection, false, nullptr, "Timestamp clock (MHz)",
     [](System s) { return Value(std::uint64_t{s.getTimestampClockFrequencyMHz()}); }},
    {Collection, false, nullptr, "TSC frequency (MHz)",
     [](System s) { return Value(s.getDescription().tscFrequencyMHz); }},
    {Collection, false, "Collection Command Line", "Command line",
     [](System s) { return Value(s.getCommandLine()); }},
};

}  // namespace

std::span<const SystemFact> systemFacts() {
  return kFacts;
}
