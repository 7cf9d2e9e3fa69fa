#include "readers/PwrText.h"

#include <chrono>
#include <cstdio>

#include "readers/PlainText.h"

namespace pwrfile {

std::string versionText(const System& system) {
  std::string text;
  for (const std::uint16_t part : system.osVersion) {
    text += (text.empty() ? "" : ".") + std::to_string(part);
  }
  return text;
}

std::string collectorText(const System& system) {
  return std::to_string(system.collectorMajor) + "." + std::to_string(system.collectorMinor) + "." +
         std::to_string(system.collectorRevision);
}

std::string cpuIdText(const System& system) {
  char text[16];
  std::snprintf(text, sizeof text, "%02x %02x %02x", system.cpuId[0], system.cpuId[1],
                system.cpuId[2]);
  return text;
}

std::string cpusText(const System& system) {
  std::string text;
  for (const Cpu& cpu : system.cpus) {
    text += (text.empty() ? "" : " ") + std::to_string(cpu.package) + "/" +
            std::to_string(cpu.core) + "/" + std::to_string(cpu.thread);
  }
  return text;
}

std::string startText(const System& system) {
  constexpr std::uint64_t kPerSecond = 10'000'000;
  constexpr std::uint64_t kSecondsPerDay = 86'400;
  constexpr std::uint64_t kYear10000 = 2'932'897;  // in days since 1970
  const std::uint64_t seconds = system.startTime / kPerSecond;
  const std::uint64_t days = seconds / kSecondsPerDay;
  if (days >= kYear10000) return std::to_string(system.startTime);
  const std::chrono::year_month_day date(
      std::chrono::sys_days(std::chrono::days(static_cast<int>(days))));
  const auto ofDay = static_cast<unsigned>(seconds % kSecondsPerDay);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02u:%02u:%02u.%07u UTC",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), ofDay / 3600, ofDay / 60 % 60, ofDay % 60,
                static_cast<unsigned>(system.startTime % kPerSecond));
  return text;
}

void PwrText::system(const System& system) {
  line_("magic");
  line_("collection\tversion=" + collectorText(system));
  line_("system\tarchitecture=" + std::string(architectureName(system.architecture)) +
        "\tversion=" + versionText(system) + "\thost=" + printable(system.hostName) +
        "\tplatform=" + printable(system.platformName) + "\tos=" + printable(system.osName));
  line_("hardware\ttscHz=" + std::to_string(system.tscHz) +
        "\tbits=" + std::to_string(system.addressBits) + "\tcpuId=" + cpuIdText(system) +
        "\tcpus=" + cpusText(system));
  line_("start\ttsc=" + std::to_string(system.startTsc) + "\ttime=" + startText(system));
  line_("frequency\tcpuMHz=" + std::to_string(system.cpuMhz));
}

void PwrText::info(const Info& info) {
  const std::string value = std::to_string(info.value);
  std::string line = "info\t" + std::to_string(info.id) + "\t" +
                     std::string(infoTypeName(info.type)) + "\t" + printable(info.longName) + "\t" +
                     printable(info.shortName) + "\t" + printable(info.description) + "\t" + value;
  if (hasIdValue(info.type)) line += nameText(info.value);
  line += "\t";
  line += info.hasParent() ? std::to_string(info.parent) + nameText(info.parent) : "-";
  line_(line);
}

void PwrText::data(const DataRecord& record) {
  std::string line = "data\t" + std::to_string(record.tsc);
  for (const Attribute& attribute : record.attributes) {
    line += std::string("\t") + attributeName(attribute.type) + "=" + valueText(reader_, attribute);
  }
  line_(line);
}

std::string PwrText::valueText(const PwrReader& reader, const Attribute& attribute) {
  if (isReference(attribute.type)) {
    return printable(reader.infos().find(attribute.value)->longName);
  }
  switch (attribute.type) {
    case AttributeType::Int:
    case AttributeType::IntLowerBound:
    case AttributeType::IntUpperBound:
      return std::to_string(static_cast<std::int64_t>(attribute.value));
    case AttributeType::Real:
    case AttributeType::RealLowerBound:
    case AttributeType::RealUpperBound:
      // A whole number may have more digits than a real has.
      return reader.version() == kLegacyVersion
                 ? std::to_string(static_cast<std::int64_t>(attribute.value))
                 : numberText(reader.real(attribute.value));
    default:
      return std::to_string(attribute.value);
  }
}

std::string PwrText::nameText(std::uint64_t id) const {
  return " (" + printable(reader_.infos().find(id)->longName) + ")";
}

}  // namespace pwrfile
