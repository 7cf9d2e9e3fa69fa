#include <cmath>
#include <cstdio>

#include "TextTestSupport.h"
#include "writers/host/Quantity.h"
#include "writers/text/SummaryWriter.h"

namespace {

using namespace text_test;

using pwr::Data;
using pwr::HeaderTextMessage;
using pwr::MetricContainerInfoMessage;
using pwr::TextMessage;
using pwr::TextNotes;

using Lines = std::vector<std::string>;

class SummaryWriterTest : public TextTest {};

// One report with everything in it. The order of arrival is not the order of the file.
TEST_F(SummaryWriterTest, WholeReport) {
  const auto* const energy =
      pwr::createQuantity({.type = pwr::QuantityType::Energy, .name = "Energy", .units = "mJ"});
  const auto* const cpu0 = pwr::createEntity({.name = "CPU0"});
  const auto* const cpu1 = pwr::createEntity({.name = "CPU1"});
  const auto* const state = column("State", "Idle");
  const Table states = describe(
      {.containerId = 7,
       .tableId = 5,
       .title = "States",
       .quantity = energy,
       .sharedHandles = {state},
       .entities = {cpu0, cpu1},
       .handles = {column("Entries (#)", "A"), column("", "")},
       .fieldHeaders = true,
       .notes = std::make_shared<TextNotes>(Lines{"before"}, Lines{"after 1", "after 2"})});
  EXPECT_EQ(text<TextMessage>("other text, unquoted"), 0);
  EXPECT_EQ(row(states, {Data("C1"), Data(1U), Data(0.5), Data(-12345678), Data(1e6)}), 0);
  EXPECT_EQ(define(simpleTable(7, 4, "Defined only")), 0);
  EXPECT_EQ(row(simpleTable(3, 1, "Arrived second"), {Data("text")}), 0);
  const MetricContainerInfoMessage described(
      {.containerId = 7,
       .heading = "Sleep states",
       .notes = std::make_shared<TextNotes>(Lines{"top"}, Lines{"bottom"}),
       .table =
           std::make_shared<pwr::TableMessage>(simpleTable(7, 9, "About"), std::vector{Data(1)})});
  EXPECT_EQ(send(described), 0);
  EXPECT_EQ(send(described), 0);
  // A description under another container than its table. Its notes have no table to stand around.
  const Table elsewhere =
      describe({.containerId = 9,
                .title = "Elsewhere",
                .handles = {column("V")},
                .notes = std::make_shared<TextNotes>(Lines{"of its own"}, Lines())});
  EXPECT_EQ(send(MetricContainerInfoMessage(
                {.containerId = 7, .table = std::make_shared<pwr::TableMessage>(elsewhere)})),
            0);
  EXPECT_EQ(text<HeaderTextMessage>("line one\nline two"), 0);
  EXPECT_EQ(text<HeaderTextMessage>("longer line three"), 0);
  EXPECT_EQ(row(states, {Data("C6 deep"), Data(), Data(0.125)}), 0);
  EXPECT_EQ(define(states), 0);

  EXPECT_EQ(report(),
            "line one\nline two\n"
            "longer line three\n"
            "other text, unquoted\n"
            "Sleep states\n\n"
            "top\n\n"
            "About\n"
            "V\n"
            "1\n"
            "1\n"
            "Defined only\n"
            "V\n"
            "before\n\n"
            "States (units = mJ)\n"
            "Idle   , A          ,     , A          ,           \n"
            "State  , Entries (#), -   , Entries (#), -         \n"
            "C1     , 1          , 0.50, -12345678  , 1000000.00\n"
            "C6 deep, Invalid    , 0.12, Invalid    , Invalid   \n"
            "after 1\n\n"
            "after 2\n\n"
            "bottom\n\n"
            "Arrived second\n"
            "V   \n"
            "text\n"
            "Elsewhere\n"
            "V\n");
  EXPECT_EQ(log_.all(), "");
}

// A row that does not fit its table would shift all rows behind it.
TEST_F(SummaryWriterTest, RowsOfAnotherShapeAreSkipped) {
  g_pluginEnvironment->setVerbosity(PW_LOG_DEBUG);
  EXPECT_EQ(row(simpleTable(1, 1, "T"), {Data(1)}), 0);
  EXPECT_EQ(row(simpleTable(1, 2, "U"), {Data(1)}), 0);
  const std::vector<const pwr::DataHandle*> two = {column("A"), column("B")};
  for (const auto& [id, title] : {std::pair{1U, "T"}, {1U, "T"}, {2U, "U"}}) {
    const Table wider = describe({.containerId = 1, .tableId = id, .title = title, .handles = two});
    EXPECT_EQ(row(wider, {Data(2), Data(3)}), 1);
  }
  const std::string skipped = ": Skipping a row of 2 cells for the table ";
  const std::string columns = ", which has 1 columns\n";
  EXPECT_EQ(log_.general(), "WARNING" + skipped + "T" + columns + "DEBUG" + skipped + "T" +
                                columns + "WARNING" + skipped + "U" + columns);
  EXPECT_EQ(report(), "T\nV\n1\nU\nV\n1\n");
}

// A description and a table of the same id: the notes stand once, around the table.
TEST_F(SummaryWriterTest, NotesOfATable) {
  const Table noted =
      describe({.containerId = 1,
                .tableId = 1,
                .title = "T",
                .handles = {column("V")},
                .notes = std::make_shared<TextNotes>(Lines{"above"}, Lines{"below"})});
  for (const bool described : {true, false}) {
    for (const bool delivered : {true, false}) {
      reopen("run");
      if (described) {
        send(MetricContainerInfoMessage(
            {.containerId = 1, .table = std::make_shared<pwr::TableMessage>(noted)}));
      }
      if (delivered) {
        EXPECT_EQ(row(noted, {Data(1)}), 0);
      }
      EXPECT_EQ(report(), std::string(described ? "T\nV\n" : "") +
                              (delivered ? "above\n\nT\nV\n1\nbelow\n\n" : ""));
    }
  }
}

// What a run leaves in the writer would appear in the next report, or keep it from being made.
TEST_F(SummaryWriterTest, ReopenedWriterBeginsAnew) {
  folder_.write("order.toml", "[[feature]]\nname='f'\nmetrics=['m']\n");
  std::string error;
  ASSERT_EQ(pwr::loadOutputConfigFile(folder_.path("order.toml"), error), 0) << error;
  const Table times = describe({.containerId = 2,
                                .title = "Times",
                                .handles = {column("V", "", pwr::Quantity::time())},
                                .notes = std::make_shared<TextNotes>(Lines{"note"}, Lines())});
  const pwr::SystemMetadata metadata({.tscFrequencyMHz = 2000.0F});
  const auto fill = [&] {
    send(pwr::SystemMessage(&metadata));
    text<HeaderTextMessage>("header");
    send(MetricContainerInfoMessage({.containerId = 2,
                                     .featureName = "f",
                                     .metricName = "m",
                                     .heading = "Heading",
                                     .notes = std::make_shared<TextNotes>(Lines{"top"}, Lines())}));
    EXPECT_EQ(define(simpleTable(1, 1, "First")), 0);
    EXPECT_EQ(row(times, {Data(4000000)}), 0);
  };
  const auto open = [&] { ASSERT_EQ(writer_->openOutput(folder_.path("run"), false), 0); };
  const std::string ofTimes = "note\n\nTimes\nV   \n2.00\n";
  const std::string whole = "header\nHeading\n\ntop\n\n" + ofTimes + "First\nV\n";
  fill();
  EXPECT_EQ(report(), whole);
  open();
  EXPECT_EQ(define(simpleTable(1, 1, "First")), 0);
  EXPECT_EQ(row(times, {Data(2000)}), 0);
  EXPECT_EQ(report(), "First\nV\n" + ofTimes);
  open();
  fill();
  std::filesystem::remove(tempFiles().at(0));
  EXPECT_EQ(writer_->closeOutput(), 1);
  open();
  fill();
  EXPECT_EQ(report(), whole);
}

// Ids at both ends of their range included: they must meet neither each other nor the text outputs.
TEST_F(SummaryWriterTest, OrderOfContainers) {
  struct Case {
    const char* config;
    Lines titles;
    std::string logged;
  };
  const std::string features =
      "[[feature]]\nname='f1'\nmetrics=['m2','unknown','m1','m2']\n"
      "[[feature]]\nname='f2'\nmetrics=['m1']\n";
  const std::string reversed = "feature-order=['f2','nowhere','f1']\n" + features;
  const std::string rest = "feature-order=[]\n" + features;
  const std::string noOrder =
      "DEBUG: Feature switch order entries not present in the output config file.\n"
      "Using the list of all feature switches present in the output file.\n";
  const std::string nothing =
      "ERROR: No entries present for metrics in the output config file. Shouldn't happen!\n";
  const Case cases[] = {
      {nullptr, {"30/1", "0/1", "max/-2", "max/-1", "20/1", "20/2", "10/1"}, ""},
      {rest.c_str(), {"30/1", "0/1", "max/-2", "max/-1", "20/1", "20/2", "10/1"}, ""},
      {features.c_str(), {"20/1", "20/2", "10/1", "max/-2", "max/-1", "30/1", "0/1"}, noOrder},
      {reversed.c_str(), {"max/-2", "max/-1", "20/1", "20/2", "10/1", "30/1", "0/1"}, ""},
      {"", {"30/1", "0/1", "max/-2", "max/-1", "20/1", "20/2", "10/1"}, nothing + noOrder},
  };
  constexpr unsigned int kMax = 0xFFFFFFFFU;
  g_pluginEnvironment->setVerbosity(PW_LOG_DEBUG);
  for (const Case& test : cases) {
    SCOPED_TRACE(test.config == nullptr ? "no file" : test.config);
    pwr::unloadOutputConfigFile();
    if (test.config != nullptr) {
      folder_.write("order.toml", test.config);
      std::string error;
      ASSERT_EQ(pwr::loadOutputConfigFile(folder_.path("order.toml"), error), 0) << error;
    }
    reopen("run");
    for (const auto& [container, feature, metric] :
         {std::tuple{10U, "f1", "m1"}, {20U, "f1", "m2"}, {kMax, "f2", "m1"}}) {
      send(MetricContainerInfoMessage(
          {.containerId = container, .featureName = feature, .metricName = metric}));
    }
    text<TextMessage>("other");
    for (const Table& table :
         {simpleTable(30, 1, "30/1"), simpleTable(0, 1, "0/1"), simpleTable(kMax, kMax, "max/-1"),
          simpleTable(20, 2, "20/2"), simpleTable(kMax, kMax - 1, "max/-2"),
          simpleTable(20, 1, "20/1"), simpleTable(10, 1, "10/1")}) {
      EXPECT_EQ(define(table), 0);
    }
    text<HeaderTextMessage>("header");
    std::string expected = "header\nother\n";
    for (const std::string& title : test.titles) expected += title + "\nV\n";
    EXPECT_EQ(report(), expected);
    EXPECT_EQ(log_.all(), test.logged);
    log_.clear();
    log_.clear();
  }
}

// Every line must have as many cells for a CSV reader as the table has columns.
TEST_F(SummaryWriterTest, QuotedCellsReadBackUnchanged) {
  const Lines hard = {"a, b", "say \"hi\"",   "two\nlines", "cr\rlf\r\n",    "\"",
                      ",",    "plain 'text'", "semi;colon", "all,\"of\"\r\n"};
  std::vector<const pwr::DataHandle*> handles = {column("n, (#)")};
  std::vector<Data> cells = {Data(1234.5)};
  for (const std::string& cell : hard) {
    handles.push_back(column(cell, cell));
    cells.emplace_back(cell);
  }
  EXPECT_EQ(
      row(describe({.containerId = 1, .tableId = 1, .handles = handles, .fieldHeaders = true}),
          cells),
      0);
  const std::string written = report();
  EXPECT_NE(written.find("\n1234.50 , \"a, b\", \"say \"\"hi\"\"\", \"two\nlines\", "),
            std::string::npos)
      << written;
  if (kIsWindows) return;
  const std::string script =
      "import csv, sys\n"
      "with open(sys.argv[1], newline='') as file:\n"
      "    rows = list(csv.reader(file, skipinitialspace=True))\n"
      "hard = "
      R"(['a, b', 'say "hi"', 'two\nlines', 'cr\rlf\r\n', '"', ',', "plain 'text'",)"
      R"( 'semi;colon', 'all,"of"\r\n'])"
      "\n"
      "assert [len(row) for row in rows] == [0, 10, 10, 10], rows\n"
      "for first, row in zip(['', 'n, (#)', '1234.50'], rows[1:]):\n"
      "    assert row[0].strip() == first and row[1:] == hard, row\n";
  folder_.write("check.py", script);
  const std::string command =
      "/usr/bin/python3 '" + folder_.path("check.py") + "' '" + folder_.path("run.csv") + "'";
  EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST_F(SummaryWriterTest, TimesAreScaled) {
  const auto* const time = pwr::Quantity::time();
  const auto* const count = pwr::createQuantity({.type = pwr::QuantityType::Count, .units = "#"});
  struct Case {
    float megahertz;
    const char* ticksSwitch;
    const pwr::Quantity* ofTable;
    const pwr::Quantity* ofColumn;
    Data cell;
    const char* title;
    const char* shown;
  };
  const Case cases[] = {
      {1000.0F, "", nullptr, time, Data(1234567890U), "T", "1234.57"},
      {2500.0F, "0", time, time, Data(-5000000), "T (units = ms)", "-2.00"},
      {1000.0F, "", time, nullptr, Data(3), "T (units = ticks)", "3"},
      {1000.0F, "", time, count, Data(3), "T (units = ticks)", "3"},
      {0.5F, "", time, time, Data(1.0), "T (units = ms)", "0.00"},
      {1000.0F, "", count, time, Data(500000), "T (units = #)", "0.50"},
      {1000.0F, "", time, time, Data(Data::IntPair(-1500000, 0)), "T (units = ms)", "-1.50 - 0.00"},
      {2000.0F, "", nullptr, time, Data(Data::UIntPair(4000000, 6000000)), "T", "2.00 - 3.00"},
      {1000.0F, "", nullptr, time, Data(Data::RealPair(5e5, 1e9)), "T", "0.50 - 1000.00"},
      {1000.0F, "", nullptr, count, Data(Data::UIntPair(4, 6)), "T", "4 - 6"},
      {1000.0F, "", nullptr, time, Data("never, ever"), "T", "\"never, ever\""},
      {0.0F, "", nullptr, time, Data(1500), "T", "1.50"},
      {NAN, "", nullptr, time, Data(1500), "T", "1.50"},
      {-3.0F, "", nullptr, time, Data(1500), "T", "1.50"},
      {1000.0F, "1", time, time, Data(1234567890U), "T (units = ticks)", "1234567890"},
      {1000.0F, "1", nullptr, time, Data(Data::UIntPair(4, 6)), "T", "4 - 6"},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.shown);
    setEnvironment("PW_DO_TIMELINE_TSC", test.ticksSwitch);
    reopen("run");
    const pwr::SystemMetadata metadata({.tscFrequencyMHz = test.megahertz});
    ASSERT_EQ(WriterDispatch::write(*writer_, pwr::SystemMessage(&metadata)), 0);
    const Table table = describe({.title = "T",
                                  .quantity = test.ofTable,
                                  .handles = {column(test.shown, "", test.ofColumn)}});
    EXPECT_EQ(row(table, {test.cell}), 0);
    const std::string shown = test.shown;
    const std::string heading = shown.front() == '"' ? "\"\"\"never, ever\"\"\"" : shown;
    const std::string fill(heading.size() - shown.size(), ' ');
    std::string expected = test.title;
    for (const std::string& line : {heading, shown + fill}) expected += "\n" + line;
    EXPECT_EQ(report(), expected + "\n");
  }
  setEnvironment("PW_DO_TIMELINE_TSC", nullptr);
}

TEST_F(SummaryWriterTest, ConsoleEchoesTablesAndTexts) {
  std::filesystem::current_path(folder_.path());
  for (const std::string base : {"console", "Console", "console2"}) {
    SCOPED_TRACE(base);
    writer_ = std::make_unique<SummaryWriter>();
    ASSERT_EQ(writer_->openOutput(base, false), 0);
    const auto about = std::make_shared<pwr::TableMessage>(simpleTable(1, 2, "About"));
    send(MetricContainerInfoMessage({.containerId = 1, .heading = "Heading", .table = about}));
    row(simpleTable(1, 1, "Table"), {Data("wide")});
    text<HeaderTextMessage>("header");
    testing::internal::CaptureStdout();
    EXPECT_EQ(writer_->closeOutput(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              base == "console" ? "header\nAbout\nV\nTable\nV   \nwide\n" : "");
    EXPECT_EQ(readFile(base + ".csv"), "header\nHeading\n\nAbout\nV\nTable\nV   \nwide\n");
  }
}

TEST_F(SummaryWriterTest, LogLinesFollowVerbosityAndDebugSwitch) {
  const Table detail = describe({.tableClass = pwr::TableClass::Detail, .title = "Detail"});
  const std::string infos =
      "INFO: Skipping a non-summary table Detail in summary text writer\n"
      "INFO: Metric Container Id not set for TableMessage?\n";
  const std::string warnings =
      "WARNING: Output file does not exist!\n"
      "WARNING: Could not create /nowhere/run.csv\n";
  struct Case {
    PWLogLevel verbosity;
    std::string logged;
  };
  const auto check = [&](const Case& test) {
    SCOPED_TRACE(test.verbosity);
    g_pluginEnvironment->setVerbosity(test.verbosity);
    log_.clear();
    reopen("run");
    EXPECT_EQ(define(detail), 0);
    EXPECT_EQ(define(simpleTable(0, 1, "T")), 0);
    EXPECT_EQ(define(simpleTable(0, 2, "U")), 0);
    EXPECT_EQ(report(), "T\nV\nU\nV\n");
    EXPECT_EQ(writer_->closeOutput(), 1);
    EXPECT_EQ(writer_->openOutput("/nowhere/run", false), 1);
    EXPECT_EQ(log_.general(), test.logged);
  };
  for (const Case& test : {Case{PW_LOG_ERROR, ""}, Case{PW_LOG_WARNING, warnings},
                           Case{PW_LOG_DEBUG, warnings}, Case{PW_LOG_INFO, infos + warnings}}) {
    check(test);
  }
  g_pluginEnvironment->enableDebugLoggingFor("text-writer-plugin");
  check({PW_LOG_ERROR, infos + warnings});
}

// What a derived writer gets from TextWriter alone.
TEST_F(SummaryWriterTest, PlainTextWriter) {
  struct PlainRun : public TextRun {
    PlainRun() : TextRun(".csv", ";", TimeScale()) {}
    using TextRun::outputs;
  };
  struct PlainWriter : public TextWriter {
    PlainWriter()
        : TextWriter("00000000-0000-0000-0000-000000000000",
                     new pwr::WriterPluginCapability({}, "plain", "", ".csv", false),
                     [](const std::string& baseName, bool /*continuous*/) {
                       auto run = std::make_unique<PlainRun>();
                       return run->open(baseName) == 0 ? std::move(run) : nullptr;
                     }) {}
    void handOverOrder() { static_cast<PlainRun&>(run()).outputs().setOrder({}, {}); }
  };
  PlainWriter plain;
  HeaderTextMessage message;
  message.setMessage("hello");
  for (const bool ordered : {false, true}) {
    ASSERT_EQ(plain.openOutput(folder_.path("plain"), false), 0);
    EXPECT_EQ(WriterDispatch::write(plain, message), 0);
    if (ordered) plain.handOverOrder();
    EXPECT_EQ(plain.closeOutput(), ordered ? 0 : 1);
    EXPECT_EQ(readFile(folder_.path("plain.csv")), ordered ? "hello\n" : "");
  }
  EXPECT_EQ(log_.general(),
            "WARNING: Metric ordering information does not exist. Cannot proceed!\n");
}

}  // namespace
