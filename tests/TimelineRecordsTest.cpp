#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "TimelineTestSupport.h"
#include "hostcommon/Descriptions.h"
#include "writers/timeline/FixedRecords.h"
#include "writers/timeline/RecentIds.h"

namespace {

using pwr::Data;
using pwr::Quantity;
using pwrfile::AttributeType;
using pwrfile::kNone;
using timeline_test::kFailed;
using timeline_test::kPrefix;
using timeline_test::Rig;

class TimelineRecordsTest : public timeline_test::TimelineTest {};

constexpr std::size_t kMax = pwrfile::zt2_record::kMaxAttributes;
const std::string kTooMany = kPrefix + "Maximum attribute count '2048' exceeded.\n";

std::uint64_t numberAt(const std::string& bytes, std::size_t offset, std::size_t width) {
  std::uint64_t number = 0;
  while (width-- > 0) number = number << 8U | static_cast<unsigned char>(bytes.at(offset + width));
  return number;
}

std::string joined(std::initializer_list<std::string_view> pieces) {
  std::string text;
  for (const std::string_view piece : pieces) text += piece;
  return text;
}

/// The bytes that a text of hexadecimal digits stands for; blanks show the fields apart.
std::string bytes(std::string digits) {
  std::erase(digits, ' ');
  std::string decoded;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    decoded += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return decoded;
}

std::string textOf(const AttributeList& list) {
  std::string text;
  for (std::uint32_t i = 0; i < list.count; ++i) {
    text += std::to_string(list.typeAt(i)) + ":" +
            std::to_string(static_cast<std::int64_t>(list.valueAt(i))) + " ";
  }
  return text;
}

/// The infos of a file that has nothing else, a line each: "id type parent: type name, names and
/// value". The ids are numbered in the order in which they are met.
std::string infoLines(const std::string& file) {
  std::map<std::uint64_t, std::size_t> numbers{{pwrfile::info_record::kNoParent, 0}};
  std::string lines;
  for (std::size_t at = 0; at < file.size(); at += numberAt(file, at + 12, 2) + 12) {
    for (const std::size_t offset : {32U, 20U, 28U}) {
      const auto id = numbers.emplace(numberAt(file, at + offset, 4), numbers.size()).first;
      lines += "#" + std::to_string(id->second) + (offset == 28 ? ": " : " ");
    }
    std::size_t name = at + 44;
    for (const std::size_t length : {36U, 38U, 40U, 42U}) {
      lines += file.substr(name, numberAt(file, at + length, 2)) + "/";
      name += numberAt(file, at + length, 2);
    }
    lines += std::to_string(numberAt(file, at + 24, 4)) + "\n";
  }
  return lines;
}

SystemSnapshot snapshotOf(pwr::SystemDescription&& system) {
  return SystemSnapshot::of(pwr::SystemMetadata(std::move(system)));
}

SystemSnapshot someSystem(const std::string& osType) {
  pwr::SystemDescription system;
  system.platformName = "P1";
  system.hostName = "ho";
  system.osName = "Windows 11";
  system.osType = osType;
  system.osVersion = "10.0.19045";
  system.tscFrequencyMHz = 2000.0F;
  system.cpuFrequencyMHz = 3000.5F;
  system.collectionStartTimestamp = 0x1122334455667788;
  system.collectionStartTimeNs = 0x100 * 100 + 99;
  system.cpuId = {6, 0x8C, 1};
  std::tie(system.collectorVersionMajor, system.collectorVersionMinor) = std::tuple(0x102, 3);
  system.collectorVersionRevision = 4;
  for (const unsigned int thread : {0U, 1U}) system.topology.addThread(1, -1, 5, thread);
  return snapshotOf(std::move(system));
}

TEST_F(TimelineRecordsTest, FixedRecords) {
  const auto expected = [](const std::string& arch, const std::string& address) {
    return "00000008 FADEDEAD"
           "00004002 1E00 2C00 01000000 0201 0300 04000000 0000000000080000 05 706F776572"
           "00004002 2C00 2D00 01000000" +
           arch +
           "0A000000654A0000 0300 686F00 0300 503100 0B00 57696E646F777320313100 0100 00"
           "00004002 3000 1200 01000000 0094357700000000 0094357700000000" +
           address +
           "068C01 02000000 00010500 00010501"
           "20000022 20000002 02 8877665544332211 0001000000000000"
           "00004002 3E00 3F00 01000000 0C00" +
           std::string(96, '0') + "B80B0000";
  };
  const std::vector<std::array<std::string, 3>> cases = {{"x86_64", "0200", "FFFFFFFFFFFFFFFF 40"},
                                                         {"i686", "0000", "0000008000000000 20"},
                                                         {"i586", "0000", "FFFFFFFFFFFFFFFF 40"}};
  for (const auto& [osType, arch, address] : cases) {
    Rig rig;
    EXPECT_EQ(writeFixedRecords(someSystem(osType), 0, rig.output), 0);
    EXPECT_EQ(rig.file(), bytes(expected(arch, address)));
  }
  EXPECT_EQ(log_.all(), "");
}

TEST_F(TimelineRecordsTest, Snapshot) {
  using Version = std::array<std::uint16_t, 4>;
  using Case = std::tuple<const char*, const char*, std::uint32_t, const char*, Version, float,
                          std::uint32_t>;
  const std::vector<Case> cases = {
      {"Windows", "i386", 0, "", {}, 0.0F, 0},
      {"My Window 7", "ia64", 1, "6", {6}, 5000.0F, 705032704},
      {"Windows", "x86_64", 2, "1.70000.0x10.010.5", {1, 4464, 16, 8}, 2400.1F, 2400100096},
      {"Linux", "i_86", 3, "6.1.0-13-amd64", {6, 1}, -1.0F, 4293967296},
      {"window", "ia64", 4, "..3", {0, 0, 3}, 0.5F, 500000},
      {"Windo", "x86_64", 5, "x.2", {0, 2}, 1e-7F, 0},
      {"Windows", "amd64", 6, "", {}, std::nanf(""), 0},
      {"Linux", "i3860", 6, "", {}, 1e30F, UINT32_MAX},
  };
  for (const auto& [osName, osType, arch, osVersion, version, mhz, hz] : cases) {
    pwr::SystemDescription description{.osName = osName, .osType = osType, .osVersion = osVersion};
    description.tscFrequencyMHz = description.cpuFrequencyMHz = mhz;
    const SystemSnapshot system = snapshotOf(std::move(description));
    EXPECT_EQ(system.osArchCode, arch) << osName << " " << osType;
    EXPECT_EQ(system.osVersion, version) << osVersion;
    EXPECT_EQ(std::pair(system.tscHz, system.cpuHz), std::pair(hz, hz)) << mhz;
  }

  // Both frequencies are that of the timestamp clock; the processor's where it is unknown.
  const SystemSnapshot unknown =
      snapshotOf({.tscFrequencyMHz = 2000.0F, .timestampClockFrequencyMHz = 1000});
  EXPECT_EQ(std::tuple(unknown.tscHz, unknown.cpuHz, unknown.cpuMhz),
            std::tuple(1'000'000'000U, 1'000'000'000U, 0U));

  // Modules number their cores on their own: cores of the same number are counted as one.
  using Core = std::tuple<unsigned int, int, unsigned int>;
  pwr::SystemDescription description;
  unsigned int thread = 0;
  for (const auto& [package, module, core] :
       {Core{0, -1, 0}, Core{0, -1, 0}, Core{0, -1, 1}, Core{2, 7, 0}, Core{2, 8, 0},
        Core{258, 7, 257}, Core{0, -1, 1}}) {
    description.topology.addThread(package, module, core, thread++);
  }
  const SystemSnapshot system = snapshotOf(std::move(description));
  std::string entries;
  for (const SystemSnapshot::Cpu& cpu : system.cpus) {
    for (const int id : {cpu.package, cpu.core, cpu.thread}) entries += std::to_string(id);
    entries += " ";
  }
  EXPECT_EQ(entries, "000 001 010 200 201 210 011 ");
  EXPECT_EQ(system.cpuCount, 7U);
}

TEST_F(TimelineRecordsTest, FixedRecordFailures) {
  const std::string noSystem =
      kPrefix + "System info record size mismatch.\n" + kFailed + "system info record.\n";
  const std::string noHardware = kFailed + "hardware configuration record.\n";
  const std::string info = "INFO: KorvellWriterPlugin:    ";
  const std::vector<std::pair<void (*)(SystemSnapshot&), std::string>> cases = {
      {[](SystemSnapshot& s) { s.tscHz = 0; }, kPrefix + "Invalid TSC clock frequency: 0Hz\n" +
                                                   info + "CPU frequency: 3000499968Hz\n" +
                                                   noHardware},
      {[](SystemSnapshot& s) { s.cpuHz = 0; }, kPrefix + "Invalid CPU frequency: 0Hz\n" + info +
                                                   "TSC clock frequency: 2000000000Hz\n" +
                                                   noHardware},
      // The two other names and the frame take 46 bytes of the 65539 that a length can state.
      {[](SystemSnapshot& s) { s.hostName.assign(65494, 'h'); }, noSystem},
      {[](SystemSnapshot& s) { s.hostName.assign(70000, 'h'); }, noSystem},
      {[](SystemSnapshot& s) { s.cpus.resize(16374); },
       "DEBUG: KorvellWriterPlugin:    TSC frequency: 2000000000Hz, CPU frequency: 3000499968Hz, "
       "Korvell CPU frequency: 2000000000Hz\n" +
           kPrefix + "Hardware configuration record size mismatch.\n" + noHardware},
  };
  g_pluginEnvironment->setVerbosity(PW_LOG_INFO);
  for (const auto& [spoil, log] : cases) {
    Rig rig;
    SystemSnapshot system = someSystem("x86_64");
    spoil(system);
    EXPECT_EQ(logOf(1, [&] { return writeFixedRecords(system, 0, rig.output); }), log);
  }
  Rig rig;
  SystemSnapshot system = someSystem("x86_64");
  system.hostName.assign(65493, 'h');
  system.cpus.resize(16373);
  EXPECT_EQ(writeFixedRecords(system, 0, rig.output), 0);
  rig.output.setUnusable();
  EXPECT_EQ(logOf(1, [&] { return writeFixedRecords(system, 0, rig.output); }),
            kFailed + "magic record.\n");
}

TEST_F(TimelineRecordsTest, InfoRecord) {
  constexpr std::uint64_t kBeyond = std::uint64_t{1} << 32U;
  const std::string key =
      "'infotype:t_longname:long_shortname:s_description:_value:4294967303_uid:4294967305_parent_"
      "uid:18446744073709551615'";
  const std::string debug = "DEBUG: KorvellWriterPlugin:    ";
  const std::string names = "09000000 0400 0100 0100 0000 6C6F6E67 73 74 00";
  g_pluginEnvironment->setVerbosity(PW_LOG_DEBUG);
  for (const bool legacy : {false, true}) {
    Rig rig(legacy);
    const auto log = [&](int status, std::size_t length, std::uint64_t uid, std::uint64_t parent) {
      const std::string name = length == 4 ? "long" : std::string(length, 'l');
      return logOf(status, [&] {
        return rig.infos.writeInfoRecord("t", kBeyond + 5, name, "s", "", kBeyond + 7, uid, parent);
      });
    };
    EXPECT_EQ(log(0, 4, kBeyond + 9, kNone),
              joined({debug, "Processing info metadata for ", key, ".\n"}));
    EXPECT_EQ(log(0, 4, kBeyond + 9, kNone),
              joined({debug, "Info metadata for ", key, " already written, skipping...\n"}));
    log(0, 4, 9, 8);  // the same only in the low 32 bits
    log(0, 397, 10, 8);
    EXPECT_TRUE(log(1, 398, 11, 8).ends_with(kPrefix + "Info names string too long\n"));
    const std::string start = "10004002 0000000000000000 2700 48000700" +
                              std::string(legacy ? "0100" : "0200") + "05000000 07000000";
    const std::string text = rig.file();
    EXPECT_EQ(text.substr(0, 102),
              bytes(joined({start, "FFFFFFFF", names, start, "08000000", names})));
    EXPECT_EQ(text.size(), 102 + 444U);
  }
}

TEST_F(TimelineRecordsTest, Metadata) {
  using pwr::QuantityType;
  const std::string x(191, 'x');
  const Quantity* const power = pwr::createQuantity({.name = "Power", .units = "mW"});
  Rig rig;
  const auto write = [&](pwr::QuantityDescription description) {
    const Quantity* const quantity = pwr::createQuantity(std::move(description));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(rig.quantities.idOf(quantity), quantity->getId());
  };
  write({QuantityType::Energy, "Energy", "mJ", "", power, 0.25});
  write({.type = QuantityType::Count, .name = x + x + x});
  write({.type = QuantityType::Percentage, .units = "percent"});
  EXPECT_EQ(log_.all(), "WARNING: Rate Quantity not specified for " + x + x + x + "\n");
  EXPECT_EQ(rig.infos.writeMetricTypes(), 0);
  AttributeList list;
  for (int i = 0; i < 2; ++i) EXPECT_EQ(rig.data.addStringValue(x, &list), 0);
  EXPECT_EQ(list.valueAt(1), list.valueAt(0));
  EXPECT_EQ(logOf(1, [&] { return rig.data.addStringValue(x + "x", &list); }),
            kPrefix + "Info names string too long\n" + kFailed +
                "an info record for string attribute '" + x + "x'.\n");
  EXPECT_EQ(infoLines(rig.file()),
            "#1 #2 #0: quantity/quantity/info_type_info//0\n"
            "#3 #1 #0: Power/mW/quantity//12\n"
            "#4 #1 #3: Energy/mJ/quantity/multiplier 0.25/5\n"
            "#5 #1 #0: " +
                x + x +
                "xxxxxxxxx//quantity//0\n"
                "#6 #1 #0: /%/quantity//2\n"
                "#7 #2 #0: metric_type/metric_type/info_type_info//0\n"
                "#8 #7 #0: Sampled Finite Set Counter/SFSC/metric_type//4\n"
                "#9 #7 #0: Value/Value/metric_type//5\n"
                "#10 #7 #0: Sampled Finite Set Value/SFSV/metric_type//6\n"
                "#11 #7 #0: Traced Finite Set Counter/TFSC/metric_type//7\n"
                "#12 #7 #0: Sampled Counter/Sampled Counter/metric_type//8\n"
                "#13 #7 #0: Traced Event/Traced Event/metric_type//9\n"
                "#14 #2 #0: nameid_attribute/nameid_attribute/info_type_info//0\n"
                "#15 #14 #0: " +
                x + "/" + x + "/nameid_attribute//0\n");
}

TEST_F(TimelineRecordsTest, TextsThatComeAgainSoonHaveOneId) {
  constexpr unsigned int kRecent = 16384;
  Rig rig;
  const std::uint64_t often = rig.infos.getTextId("often");
  const std::uint64_t once = rig.infos.getTextId("once");
  for (unsigned int n = 0; n < 3 * kRecent; ++n) {
    if (n % (kRecent / 2) == 0) {
      EXPECT_EQ(rig.infos.getTextId("often"), often);
    }
    EXPECT_NE(rig.infos.getTextId(std::to_string(n)), kNone);
  }
  EXPECT_NE(rig.infos.getTextId("once"), once) << "any number of texts takes a bounded memory";
  RecentIds ids(3);
  for (unsigned int n = 0; n < 100; ++n) {
    ids.add(std::to_string(n), n);
    EXPECT_LE(ids.size(), 6U);
    for (unsigned int recent = n < 2 ? 0 : n - 2; recent <= n; ++recent) {
      EXPECT_EQ(ids.find(std::to_string(recent)), recent);
    }
  }
}

TEST_F(TimelineRecordsTest, Zt2Record) {
  const Data real(1.5);
  for (const std::string version : {"0200", "0100"}) {
    const bool legacy = version == "0100";
    Rig rig(legacy);
    AttributeList list;
    EXPECT_EQ(rig.writeEmpty(7), 0);
    EXPECT_EQ(DataRecords::addAttribute(AttributeType::Duration, 0x1122334455667788, &list), 0);
    EXPECT_EQ(rig.data.addDataValue(&real, nullptr, &list, false, nullptr), 0);
    EXPECT_EQ(rig.data.writeZt2Record(0x0102030405060708, 3, &list), 0);
    // In the order of their keys.
    EXPECT_EQ(rig.file(),
              bytes(joined({"10004002 0807060504030201 2200 47000600", version,
                            "0200 12000000 8877665544332211 0B000000",
                            legacy ? "0100000000000000" : "000000000000F83F",
                            "10004002 0000000000000000 0A00 47000600", version, "0000"})));
  }
  Rig rig;
  AttributeList list;
  std::uint64_t number = 0;
  while (DataRecords::addAttribute(AttributeType::Info, number, &list) == 0) ++number;
  EXPECT_EQ(rig.data.writeZt2Record(1, 3, &list), 0);
  ++list.count;
  const std::string noList = kPrefix + "Invalid attribute list.\n";
  EXPECT_EQ(logOf(1, [&] { return rig.data.writeZt2Record(1, 3, &list); }), kTooMany);
  EXPECT_EQ(logOf(1, [&] { return rig.data.writeZt2Record(1, 3, nullptr); }), noList);
  EXPECT_EQ(logOf(1, [&] { return rig.data.addStringValue("x", nullptr); }), noList);
  const std::string text = rig.file();
  ASSERT_EQ(text.size(), 22 + kMax * 12);
  EXPECT_EQ(text.substr(12, 2) + text.substr(20, 2) + text.substr(text.size() - 12),
            bytes("0A60 0008 08000000 FF07000000000000"));
}

TEST_F(TimelineRecordsTest, DataValues) {
  const Quantity* const quantity = pwr::createQuantity({.name = "Size", .units = "kB"});
  using Case = std::tuple<Data, std::string, std::string, std::string>;
  const std::vector<Case> cases = {
      {Data(-2), "-2", "9:-2 ", "integer value '-2'"},
      {Data(5U), "5", "10:5 ", "unsigned integer value '5'"},
      {Data(2.0), "2", "11:4611686018427387904 ", "real value '2.000000'"},
      {Data(Data::IntPair(-2, 3)), "-2 - 3", "12:-2 13:3 ", "lower bound integer value '-2'"},
      {Data(Data::UIntPair(2, 3)), "2 - 3", "14:2 15:3 ", "lower bound unsigned integer value '2'"},
      {Data(Data::RealPair(0, 2)), "0 - 2", "16:0 17:4611686018427387904 ",
       "lower bound real value '0.000000'"},
  };
  Rig rig;
  for (const auto& [data, valueText, attributes, name] : cases) {
    AttributeList list;
    const auto add = [&, &data = data] {
      return rig.data.addDataValue(&data, nullptr, &list, false, nullptr);
    };
    EXPECT_EQ(rig.data.addDataValue(&data, quantity, &list, false, nullptr), 0);
    EXPECT_EQ(textOf(list), "6:" + std::to_string(quantity->getId()) + " " + attributes);
    list.count = kMax;
    add();
    EXPECT_EQ(logOf(1, add),
              joined({kTooMany, kPrefix, "Unable to add ", name, " to the record.\n"}));
    if (name.starts_with("lower")) {
      list.count = kMax - 1;
      EXPECT_TRUE(logOf(1, add).starts_with(kTooMany + kPrefix + "Unable to add upper bound"));
    }
    std::string text;
    EXPECT_EQ(rig.data.addDataValue(&data, quantity, nullptr, false, &text), 0);
    EXPECT_EQ(text, valueText + "(kB)");
    // The same text has the same id.
    const Data same(text);
    list.count = 0;
    EXPECT_EQ(rig.data.addDataValue(&data, quantity, &list, true, nullptr), 0);
    EXPECT_EQ(rig.data.addDataValue(&same, nullptr, &list, false, nullptr), 0);
    const std::string info = "8:" + std::to_string(rig.infos.getTextId(text)) + " ";
    EXPECT_EQ(textOf(list), info + info);
  }
  Rig legacy(true);
  AttributeList list;
  for (const double real : {2.9, -2.5, 1e19, -1e19, 1e20, std::nan("")}) {
    const Data data(real);
    EXPECT_EQ(legacy.data.addDataValue(&data, nullptr, &list, false, nullptr), 0);
  }
  EXPECT_EQ(textOf(list), "11:2 11:-2 11:-8446744073709551616 11:-9223372036854775808 11:-1 11:0 ");
}

TEST_F(TimelineRecordsTest, DataValueFailures) {
  Rig rig;
  const Quantity* const quantity = pwr::createQuantity({.name = "Size"});
  AttributeList list;
  const auto failure = [&](const Data& data, const Quantity* unit, bool asString) {
    return logOf(1, [&] { return rig.data.addDataValue(&data, unit, &list, asString, nullptr); });
  };
  EXPECT_EQ(rig.data.addDataValue(nullptr, quantity, nullptr, false, nullptr), 0);
  EXPECT_EQ(failure(Data(), nullptr, false), kPrefix + "Unsupported data type obtained.\n");
  list.count = kMax;
  EXPECT_EQ(failure(Data(1), quantity, false),
            kTooMany + kPrefix + "Unable to add quantity attribute to the record.\n");
  EXPECT_EQ(failure(Data("x"), nullptr, false),
            kTooMany + kPrefix + "Unable to process string value 'x'.\n");
  EXPECT_EQ(failure(Data(1), nullptr, true),
            kTooMany + kPrefix + "Unable to process value attribute as string'.\n");
  EXPECT_EQ(failure(Data(Data::IntPair(1, 2)), nullptr, true),
            kTooMany + kPrefix + "Unable to process value range attribute as string'.\n");
  // Without the metadata there is no record, and nothing passes for written the second time.
  rig.output.setUnusable();
  const Quantity* const other = pwr::createQuantity({.name = "Other"});
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(failure(Data(1), other, false), kPrefix + "Failed to handle quantity metadata uid:" +
                                                  std::to_string(other->getId()) + "'.\n");
    EXPECT_EQ(failure(Data("y"), nullptr, false),
              joined({kFailed, "an info record for string attribute 'y'.\n", kPrefix,
                      "Unable to process string value 'y'.\n"}));
  }
  EXPECT_EQ(
      logOf(1, [&] { return rig.infos.writeMetricTypes(); }),
      kFailed + "info type metadata for 'metric_type'.\n" + kFailed + "metric type metadata.\n");
}

}  // namespace
