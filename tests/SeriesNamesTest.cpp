// How series are named for time series engines, and the units of their values.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hostcommon/Descriptions.h"
#include "hostcommon/SeriesNames.h"

namespace {

TEST(SeriesNames, PlainNames) {
  const struct {
    const char* text;
    const char* name;
  } cases[] = {
      {"CPU C-State", "cpu_c_state"},
      {"haltpoll idle", "haltpoll_idle"},
      {"__a -- b__", "a_b"},
      {"1-minute load", "_1_minute_load"},
      {"Too Shallow (us)", "too_shallow_us"},
      {"", "unnamed"},
      {"\u6E29\u5EA6", "unnamed"},
      {"a\n\"b\",c=\\", "a_b_c"},
      {"_9", "_9"},
      {"\xFF\xFEx", "x"},
  };
  for (const auto& [text, name] : cases) EXPECT_EQ(pwr::plainName(text), name) << text;
  EXPECT_EQ(pwr::plainName(std::string(100000, 'x')), std::string(pwr::kMostPlainName, 'x'));
  EXPECT_EQ(pwr::plainName(std::string(pwr::kMostPlainName - 1, 'x') + "-y"),
            std::string(pwr::kMostPlainName - 1, 'x'));
}

TEST(SeriesNames, BaseUnits) {
  const struct {
    const char* units;
    const char* name;
    double value;
    double inBase;
  } cases[] = {
      {"s", "seconds", 3, 3},
      {"ms", "seconds", 100, 0.1},
      {"us", "seconds", 3, 3e-6},
      {"\u00B5s", "seconds", 3, 3e-6},
      {"ns", "seconds", 7, 7e-9},
      {"mJ", "joules", 123, 0.123},
      {"uJ", "joules", 1, 1e-6},
      {"Wh", "joules", 2, 7200},
      {"mWh", "joules", 10, 36},
      {"W", "watts", 1.5, 1.5},
      {"mV", "volts", 12, 0.012},
      {"A", "amperes", 1, 1},
      {"MHz", "hertz", 2400, 2.4e9},
      {"C", "celsius", 45.5, 45.5},
      {"m\u00B0C", "celsius", 45500, 45.5},
      {"B", "bytes", 1, 1},
      {"KiB", "bytes", 2, 2048},
      {"%", "percent", 12, 12},
      {"", "", 5, 5},
      {"count", "", 5, 5},
      {"/s", "per_second", 5, 5},
      {"B/s", "bytes_per_second", 5, 5},
      {"us/s", "seconds_per_second", 3, 3e-6},
      {"RPM", "rpm", 900, 900},
      {"mm", "mm", 1, 1},
      {"furlongs / fortnight", "furlongs_per_fortnight", 1, 1},
      {"/", "per_unnamed", 1, 1},
      {"a/b/s", "a_b_per_second", 1, 1},
  };
  for (const auto& [units, name, value, inBase] : cases) {
    const pwr::Quantity* const quantity = pwr::createQuantity({.name = "It", .units = units});
    const pwr::BaseUnit unit = pwr::baseUnitOf(quantity, 1e9);
    EXPECT_EQ(unit.name, name) << units;
    EXPECT_EQ(unit.of(value), inBase) << units;  // to the last bit: the value nearest to it
  }
  EXPECT_EQ(pwr::baseUnitOf(nullptr, 1e9).name, "");
}

TEST(SeriesNames, TicksAreSecondsOfShortText) {
  const pwr::BaseUnit unit = pwr::baseUnitOf(pwr::Quantity::time(), 1e9);
  EXPECT_EQ(unit.name, "seconds");
  EXPECT_EQ(unit.of(99999999), 0.099999999);
  EXPECT_EQ(unit.of(300000003), 0.300000003);
}

TEST(SeriesNames, MeasurementsAndFields) {
  const struct {
    const char* metric;
    const char* unit;
    const char* name;
  } cases[] = {
      {"CPU C-State", "seconds", "cpu_c_state_seconds"},       {"Interrupts", "", "interrupts"},
      {"Sensor Power (watts)", "watts", "sensor_power_watts"}, {"Seconds", "seconds", "seconds"},
      {"Milliseconds", "seconds", "milliseconds_seconds"},
  };
  for (const auto& [metric, unit, name] : cases) {
    EXPECT_EQ(pwr::measurementName(metric, {.name = unit}), name);
  }
  const auto field = [](const char* name) {
    return pwr::fieldName(pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, "")));
  };
  EXPECT_EQ(pwr::fieldName(nullptr), "value");
  EXPECT_EQ(field("C1-E"), "c1_e");
  EXPECT_EQ(field("Time"), "time_");
}

TEST(SeriesNames, TagsOfEntities) {
  const auto entity = [](const char* name, const char* level, const pwr::EntityHandle* parent) {
    return pwr::createEntity({.name = name, .level = level, .parent = parent});
  };
  const auto* const package = entity("Package0", "Package", nullptr);
  const auto* const cpu = entity("CPU3", "Thread", entity("Core1", "Core", package));
  const auto* const zone = entity("core", "Power Zone", entity("package-0", "Power Zone", package));
  using Tags = std::vector<pwr::SeriesTag>;
  EXPECT_EQ(pwr::tagsOf(nullptr), Tags{});
  EXPECT_EQ(pwr::tagsOf(cpu),
            (Tags{{"package", "Package0"}, {"core", "Core1"}, {"thread", "CPU3"}}));
  EXPECT_EQ(pwr::tagsOf(zone), (Tags{{"package", "Package0"}, {"power_zone", "package-0/core"}}));
  EXPECT_EQ(pwr::tagsOf(entity("x y", "Host", entity("", "", nullptr))),
            (Tags{{"entity", ""}, {"entity_host", "x y"}}));
}

TEST(SeriesNames, UniqueNames) {
  pwr::UniqueNames names;
  EXPECT_EQ(names.take("a"), "a");
  EXPECT_EQ(names.take("a_2"), "a_2");
  EXPECT_EQ(names.take("a"), "a_3");
  EXPECT_EQ(names.take("a"), "a_4");
  EXPECT_EQ(names.take("a_2"), "a_2_2");
}

}  // namespace
