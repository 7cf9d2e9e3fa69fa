// What the database writer makes of a run, asked in SQL.

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "SqliteTestSupport.h"
#include "writers/host/Quantity.h"

namespace {

using pwr::Data;
using Kind = pwr::Metric::MetricType;
using sqlite_test::SqliteTest;

const pwr::Quantity* powerQuantity() {
  return pwr::createQuantity({.type = pwr::QuantityType::Power, .name = "Power", .units = "W"});
}

TEST_F(SqliteTest, IsMarkedAndStrict) {
  EXPECT_EQ(ask("PRAGMA user_version"), "1\n");
  EXPECT_EQ(ask("PRAGMA application_id"), std::to_string(0x5476726E) + "\n");
  EXPECT_EQ(ask("SELECT count(*) > 15, sum(strict = 0), sum(name = 'point' AND wr) FROM "
                "pragma_table_list WHERE type = 'table' AND schema = 'main' "
                "AND name NOT LIKE 'sqlite_%'"),
            "1|0|1\n");
  EXPECT_EQ(ask("INSERT INTO point VALUES (1, 'soon', 0, 0, 0, NULL)"),
            "cannot store TEXT value in INTEGER column point.time");
  EXPECT_EQ(ask("SELECT count(*) FROM measurement"), "0\n") << "nothing came";
}

TEST_F(SqliteTest, KeepsEveryKindOfValue) {
  struct Case {
    Data value;
    const char* expected;
  };
  const std::vector<Case> cases{
      {Data(), "null|NULL"},
      {Data(-7), "integer|-7"},
      {Data(std::numeric_limits<long long>::min()), "integer|-9223372036854775808"},
      {Data((1ULL << 63U) - 1), "integer|9223372036854775807"},
      {Data(1ULL << 63U), "text|9223372036854775808"},
      {Data(std::numeric_limits<unsigned long long>::max()), "text|18446744073709551615"},
      {Data(5.0), "real|5.0"},
      {Data(0.1), "real|0.1"},
      {Data(std::nan("")), "null|NULL"},
      {Data(std::numeric_limits<double>::infinity()), "real|Inf"},
      {Data(-std::numeric_limits<double>::infinity()), "real|-Inf"},
      {Data(Data::IntPair(-1, 2)), "text|-1 - 2"},
      {Data(Data::UIntPair(1, 2)), "text|1 - 2"},
      {Data(Data::RealPair(0.5, 1.5)), "text|0.5 - 1.5"},
      {Data(pwr::createHandle({.type = pwr::DataHandleType::State, .name = "Deep"})), "text|Deep"},
      {Data("it's \"é\""), "text|it's \"é\""},
      {Data("bad \xFF\xC3("), "text|bad \xEF\xBF\xBD\xEF\xBF\xBD("},
      {Data(""), "text|"},
  };
  const auto* const metric = pwr::createMetric({.name = "M"});
  std::string expected;
  for (std::size_t n = 0; n < cases.size(); ++n) {
    sample(metric, n, {{cases[n].value, c6_, cpu_, 0}});
    expected += cases[n].expected + std::string("\n");
  }
  EXPECT_EQ(ask("SELECT typeof(value), value FROM point ORDER BY time"), expected);
}

TEST_F(SqliteTest, KeepsTimesAndDurationsInTicks) {
  sendSystem();
  const auto* const metric = pwr::createMetric({.name = "M", .quantity = powerQuantity()});
  const auto* const rate = pwr::createMetric(
      {.name = "R", .quantity = pwr::createQuantity({.type = pwr::QuantityType::Rate})});
  sample(metric, 5'000'000'000, {{Data(1), nullptr, nullptr, 250'000'000}});
  sample(metric, 4'500'000'000, {{Data(2), nullptr, nullptr, 0}});
  sample(metric, 7'250'000'000, {{Data(3), nullptr, nullptr, 1ULL << 63U}});
  sample(rate, 5'000'000'000, {{Data(4), nullptr, nullptr, 250'000'000}});
  EXPECT_EQ(ask("SELECT time, duration FROM point ORDER BY value"),
            "0|250000000\n-500000000|NULL\n2250000000|9223372036854775808\n0|250000000\n");
  EXPECT_EQ(ask("SELECT seconds, duration, unit FROM measurement ORDER BY value"),
            "0.0|0.25|W\n-0.5|NULL|W\n2.25|9223372036.85478|W\n0.0|NULL|NULL\n");
  EXPECT_EQ(ask("SELECT start_ticks, clock_mhz FROM run"), "5000000000|1000.0\n");
}

TEST_F(SqliteTest, TheViewHasTheWordsOfTheReport) {
  sendSystem();
  const auto* const energy = pwr::createQuantity({.type = pwr::QuantityType::Energy,
                                                  .name = "Energy",
                                                  .units = "mJ",
                                                  .rate = powerQuantity(),
                                                  .rateFactor = 0.001});
  const auto metricOf = [](const char* name, Kind kind, const pwr::Quantity* quantity) {
    return pwr::createMetric(
        {.name = name, .featureTag = "feature", .type = kind, .quantity = quantity});
  };
  const auto* const time = pwr::Quantity::time();
  sample(metricOf("CPU C-State", Kind::SampledResidency, time), 5'100'000'000,
         {{Data(25'000'000), c6_, cpu_, 100'000'000}});
  sample(metricOf("Energy", Kind::SampledDelta, energy), 5'100'000'000,
         {{Data(1500), nullptr, package_, 500'000'000}});
  sample(metricOf("Power", Kind::SampledValue, powerQuantity()), 5'100'000'000,
         {{Data(2.5), nullptr, nullptr, 500'000'000}});
  EXPECT_EQ(ask("SELECT * FROM measurement ORDER BY series"),
            "0.1|0.1|feature|SAMPLED_RESIDENCY|CPU C-State|CPU0|Package0/CPU0|C6|25.0|ms|25.0|%"
            "|NULL|1|100000000|0\n"
            "0.1|0.5|feature|SAMPLED_DELTA|Energy|Package0|Package0|NULL|1500|mJ|3.0|W"
            "|NULL|2|100000000|0\n"
            "0.1|0.5|feature|SAMPLED_VALUE|Power|NULL|NULL|NULL|2.5|W|NULL|NULL"
            "|NULL|3|100000000|0\n");
  EXPECT_EQ(ask("SELECT id, name, path, level, parent FROM entity ORDER BY id"),
            "1|Package0|Package0|Package|NULL\n2|CPU0|Package0/CPU0|Thread|1\n");
}

// The contract has times of a series ascend. Whatever comes is kept.
TEST_F(SqliteTest, PointsOfOneTimeStayInTheirOrder) {
  const auto* const metric = pwr::createMetric({.name = "M", .combinations = {{package_, c6_}}});
  int value = 0;
  for (const unsigned long long time : {7ULL, 7ULL, 9ULL, 7ULL, 9ULL, 8ULL, ~0ULL, 7ULL}) {
    sample(metric, time, {{Data(value++), c6_, cpu_, 0}});
  }
  EXPECT_EQ(ask("SELECT time, value FROM point ORDER BY series, time, sequence"),
            "-1|6\n7|0\n7|1\n7|3\n7|7\n8|5\n9|2\n9|4\n");
  EXPECT_EQ(ask("SELECT id, entity, descriptor FROM series"), "1|1|1\n2|2|1\n")
      << "one that was announced only, too";
}

TEST_F(SqliteTest, MorePointsAndTextsThanWaitInMemory) {
  constexpr unsigned long long kRounds = 25'000;  // more than 65,536 points
  const auto* const metric = pwr::createMetric({.name = "M"});
  for (unsigned long long n = 0; n < kRounds; ++n) {
    const Data text(std::string(n % 1000 == 0 ? 1'000'000 : 1, 'x'));
    sample(metric, n,
           {{Data(n), nullptr, cpu_, 1}, {Data(-1), c6_, cpu_, 1}, {text, c6_, package_, 1}});
  }
  EXPECT_EQ(ask("SELECT count(*), sum(value), min(time), max(time) FROM point WHERE series < 3 "
                "GROUP BY series"),
            "25000|312487500|0|24999\n25000|-25000|0|24999\n");
  EXPECT_EQ(ask("SELECT count(*), sum(value GLOB 'x'), sum(length(value) = 1000000), "
                "sum((length(value) = 1000000) = (time % 1000 = 0)) "
                "FROM measurement WHERE series = 3"),
            "25000|24975|25|25000\n");
}

// SQLite compares whole rows of the table of points, which would read the large ones again and
// again.
TEST_F(SqliteTest, LongTextsLieElsewhere) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  const auto* const note = pwr::Attribute::create("Note", nullptr, pwr::AttributeType::String);
  for (const int size : {400, 401, 5000}) {
    pwr::DataElement element(Data(std::string(static_cast<std::size_t>(size), 'v')), nullptr,
                             nullptr, 0);
    auto attributes = std::make_shared<pwr::AttributeValueManager>();
    attributes->addAttributeValue(note, Data(std::string(static_cast<std::size_t>(size), 'a')));
    element.setAttributes(attributes);
    sample(metric, 1, {element});
  }
  EXPECT_EQ(ask("SELECT typeof(value), value, typeof(attributes), attributes FROM point "
                "WHERE sequence > 0"),
            "blob|2|blob|3\nblob|4|blob|5\n");
  EXPECT_EQ(ask("SELECT typeof(value), length(value), rtrim(value, 'v'), "
                "length(attributes ->> 'Note') FROM measurement ORDER BY sequence"),
            "text|400||400\ntext|401||401\ntext|5000||5000\n");
  EXPECT_EQ(ask("SELECT max(mx_payload) < 1000 FROM dbstat WHERE name = 'point'"), "1\n");
}

TEST_F(SqliteTest, HostileNamesAreNamesLikeAnyOther) {
  const std::string quotes = R"('; DROP TABLE point; -- " ` [ ])";
  const std::string zeros("nul\0nul", 7);
  const std::string bytes = "\xFF\xFE";
  const std::string large(1'000'000, 'n');
  const auto* const metric = pwr::createMetric({.name = quotes, .featureTag = bytes});
  for (const std::string& name : {quotes, zeros, bytes, large}) {
    const auto* const descriptor =
        pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, name));
    const auto* const entity = pwr::createEntity({.name = name, .level = name});
    pwr::DataElement element(Data(name), descriptor, entity, 1);
    auto info = std::make_shared<pwr::DynamicAttributeValueManager>();
    info->addAttributeValue(
        pwr::Attribute::create(name, nullptr, pwr::AttributeType::String)->getId(), Data(name));
    element.setAdditionalInfo(info);
    sample(metric, 1, {element});
  }
  EXPECT_EQ(ask("SELECT length(CAST(value AS BLOB)), value = entity, value = descriptor, "
                "json_valid(attributes) FROM measurement ORDER BY series"),
            "31|1|1|1\n7|1|1|1\n6|1|1|1\n1000000|1|1|1\n");
  EXPECT_EQ(ask("SELECT name = '" + std::string(R"(''; DROP TABLE point; -- " ` [ ])") +
                "', feature FROM metric"),
            "1|\xEF\xBF\xBD\xEF\xBF\xBD\n");
}

TEST_F(SqliteTest, AttributesAreJson) {
  const auto attribute = [](const char* name) {
    return pwr::Attribute::create(name, nullptr, pwr::AttributeType::Info);
  };
  pwr::AttributeValueManager declared;
  declared.addAttributeValue(attribute("PID"), Data(42));
  declared.addAttributeValue(attribute("Share"), Data(0.5));
  declared.addAttributeValue(attribute("Not known"), Data(std::nan("")));
  pwr::DynamicAttributeValueManager dynamic;
  dynamic.addAttributeValue(attribute("Comm")->getId(), Data("a\"b"));
  dynamic.addAttributeValue(attribute("Most")->getId(), Data(~0ULL));
  pwr::DataElement element(Data(1), nullptr, nullptr, 0);
  element.setAttributes(std::make_shared<const pwr::AttributeValueManager>(declared));
  element.setAdditionalInfo(std::make_shared<const pwr::DynamicAttributeValueManager>(dynamic));
  sample(pwr::createMetric({.name = "M"}), 1, {element, {Data(2), nullptr, nullptr, 0}});
  EXPECT_EQ(ask("SELECT attributes FROM measurement ORDER BY sequence"),
            R"({"PID":42,"Share":0.5,"Not known":null,"Comm":"a\"b","Most":18446744073709551615})"
            "\nNULL\n");
  EXPECT_EQ(ask("SELECT attributes ->> 'Comm' FROM point WHERE attributes ->> 'PID' = 42"),
            "a\"b\n");
}

TEST_F(SqliteTest, WhatTheSystemTellsOfTheRun) {
  auto& told = system_.edit();
  told.hostName = "lab-3";
  told.collectionDurationSec = 1.5;
  told.collectionStopTimestamp = ~0ULL;
  told.topology.addThread(1, 2, 3, 4);
  told.topology.addThread(1, -1, 3, 5);
  told.infoValues.emplace_back("Microcode", 1046U, "0x416");
  told.lostEvents = {{"CPU1", ~0ULL}};
  told.processes.emplace_back(42, 1, "/bin/work", 5'000'000'500, 0, "work",
                              std::vector<pwr::ProcessImage>{{"/bin/sh", "sh", 5'000'000'700}});
  told.threads.emplace_back(42, 43, 0, 4'000'000'000, "worker");
  sendSystem();
  EXPECT_EQ(ask("SELECT stop_ticks, duration FROM run"), "18446744073709551615|1.5\n");
  EXPECT_EQ(ask("SELECT * FROM system WHERE name IN ('Host', 'Microcode', 'Platform')"),
            "Host|lab-3|NULL\nMicrocode|1046|0x416\n");
  EXPECT_EQ(ask("SELECT * FROM cpu"), "1|2|3|4\n1|NULL|3|5\n");
  EXPECT_EQ(ask("SELECT * FROM lost_events"), "CPU1|18446744073709551615\n");
  EXPECT_EQ(ask("SELECT * FROM process"), "1|42|1|work|/bin/work|500|NULL\n");
  EXPECT_EQ(ask("SELECT * FROM process_image"), "1|700|sh|/bin/sh\n");
  EXPECT_EQ(ask("SELECT * FROM thread"), "42|43|worker|NULL|-1000000000\n");
}

TEST_F(SqliteTest, TheReportsTablesAndTexts) {
  sendSystem();
  const auto notes = std::make_shared<const pwr::TextNotes>(std::vector<std::string>{"a", "b"},
                                                            std::vector<std::string>{"z"});
  send(pwr::MetricContainerInfoMessage(
      {.containerId = 1, .featureName = "f", .metricName = "m", .heading = "Sleep"}));
  const auto table = std::make_shared<const pwr::TableDescription>(
      pwr::TableDescription{.containerId = 1,
                            .title = "Residency",
                            .quantity = powerQuantity(),
                            .sharedHandles = {pwr::createColumn("State", nullptr)},
                            .entities = {package_},
                            .handles = {pwr::createColumn("Time", pwr::Quantity::time()),
                                        pwr::createColumn("Count", nullptr)},
                            .notes = notes});
  send(pwr::TableMessage(table));
  send(pwr::TableMessage(table, {Data("C1"), Data(2'500'000), Data(3)}));
  send(pwr::TableMessage(table, {Data("C6"), Data("n/a"), Data(std::nan(""))}));
  send(pwr::TableMessage(table, {Data("short")}));
  pwr::HeaderTextMessage header;
  header.setMessage("Host: lab-3");
  send(header);
  EXPECT_EQ(ask("SELECT * FROM summary"),
            "Sleep|Residency|1|C1|NULL|State|C1\n"
            "Sleep|Residency|1|C1|Package0|Time (ms)|2.5\n"
            "Sleep|Residency|1|C1|Package0|Count|3\n"
            "Sleep|Residency|2|C6|NULL|State|C6\n"
            "Sleep|Residency|2|C6|Package0|Time (ms)|n/a\n"
            "Sleep|Residency|2|C6|Package0|Count|NULL\n"
            "Sleep|Residency|3|short|NULL|State|short\n");
  EXPECT_EQ(ask("SELECT * FROM summary_table"), "1|1|Residency|W|a\nb|z\n");
  EXPECT_EQ(ask("SELECT * FROM text"), "1|header|Host: lab-3\n");
}

// Times count from zero then, whatever the system tells later.
TEST_F(SqliteTest, PointsBeforeTheSystem) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  sample(metric, 5'500'000'000, {{Data(1), nullptr, nullptr, 0}});
  sendSystem();
  sample(metric, 6'000'000'000, {{Data(2), nullptr, nullptr, 0}});
  EXPECT_EQ(ask("SELECT seconds FROM measurement"), "5.5\n6.0\n");
  EXPECT_EQ(ask("SELECT start_ticks FROM run"), "0\n");
}

}  // namespace
