#if !defined(_WIN32)
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <functional>
#include <future>
#include <locale>
#include <map>
#include <thread>

#include "TextTestSupport.h"
#include "writers/host/Quantity.h"
#include "writers/text/AutoWriter.h"

namespace {

using namespace text_test;

using pwr::Data;

constexpr const char* kFile = "Automation_Summary.csv";
constexpr const char* kNotOpened = "ERROR: Could not open automation summary file.\n";

/// Works in a folder of its own, with a writer that is open under "run".
class AutoWriterTest : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::current_path(folder_.path());
    reopen("run");
  }

  void reopen(const std::string& baseName) {
    writer_ = std::make_unique<AutoWriter>();
    ASSERT_EQ(writer_->openOutput(baseName, false), 0);
  }
  template <typename Message>
  int send(const Message& message) {
    return WriterDispatch::write(*writer_, message);
  }
  int row(const Table& table, std::vector<Data> cells) {
    return send(pwr::TableMessage(table, std::move(cells)));
  }
  /// A whole run with one column, whose name ends in `column`.
  void run(const std::string& baseName, const std::string& columnName, int value) {
    reopen(baseName);
    const Table table = describe({.title = "T", .handles = {column("CPU"), column(columnName)}});
    EXPECT_EQ(row(table, {Data(0), Data(value)}), 0);
    EXPECT_EQ(writer_->closeOutput(), 0);
  }
  /// Closes the output, which starts a new file, and compares what it says beside the base name.
  void expectColumns(const std::string& names, const std::string& values) {
    std::filesystem::remove(kFile);
    EXPECT_EQ(writer_->closeOutput(), 0);
    EXPECT_EQ(readFile(kFile), "Output_Name," + names + "\nrun," + values + "\n");
  }

  TempFolder folder_;
  LogCapture log_;
  std::unique_ptr<AutoWriter> writer_;
};

TEST_F(AutoWriterTest, HeaderIsRepeatedOnlyWhereItDiffersFromTheLastOne) {
  run("a1", "A", 1);
  run("a2", "A", 2);
  run("b1", "B", 3);
  run("a3", "A", 4);
  run("n1", "two\nlines", 5);
  run("n2", "two\nlines", 6);
  run("n3", "two\nfaces", 7);
  run("Output_Name", "two\nfaces", 8);
  run("n4", "two\nfaces", 9);
  EXPECT_EQ(readFile(kFile),
            "Output_Name,CPU_0_A,\na1,1,\na2,2,\n"
            "Output_Name,CPU_0_B,\nb1,3,\n"
            "Output_Name,CPU_0_A,\na3,4,\n"
            "Output_Name,\"CPU_0_two\nlines\",\nn1,5,\nn2,6,\n"
            "Output_Name,\"CPU_0_two\nfaces\",\nn3,7,\nOutput_Name,8,\n"
            // The values line above counts as a header, by its beginning.
            "Output_Name,\"CPU_0_two\nfaces\",\nn4,9,\n");
}

// What others left in the file stays, and costs at most one more header.
TEST_F(AutoWriterTest, FilesThatOthersEdited) {
  const std::string header = "Output_Name,CPU_0_A,";
  const std::string line = "r,1,\n";
  const std::string filler(std::size_t{64} * 1024 - 10, 'x');  // moves the header across reads
  const std::pair<std::string, std::string> cases[] = {
      {header, "\n" + line},
      {header + "\nr,0,", "\n" + line},
      {filler + "\n" + header + "\nr,0,\n" + filler + "\n", line},
      {header + "\r\n", header + "\n" + line},
      {header + "more,\n", header + "\n" + line},
      {"x" + header + "\n", header + "\n" + line},
      {"note", "\n" + header + "\n" + line},
      {"\n", header + "\n" + line},
  };
  for (const auto& [before, added] : cases) {
    SCOPED_TRACE(added);
    folder_.write(kFile, before);
    run("r", "A", 1);
    EXPECT_TRUE(readFile(kFile) == before + added);
  }
}

TEST_F(AutoWriterTest, TitleDecidesWhatNamesARow) {
  struct Case {
    std::string title;
    std::vector<const char*> columns;
    const char* names;
    const char* values;
    int status = 0;
  };
  const std::vector<const char*> five = {"A", "", "C", "D", "E"};
  const std::string residency = " Summary: Residency (Percentage and Time)";
  const Case cases[] = {
      {"ACPI D-State" + residency, five, "A_0_1_C_2_D_3_E,", "4,"},
      {"x ACPI F-State" + residency + " x", five, "A_0_1_C_2_D_3_E,", "4,"},
      {"Core" + residency, five, "A_0_,A_0_C,A_0_D,A_0_E,", "1,2,3,4,"},
      {"Summary: Average Rate and Total", five, "A_0_1_C_2_D,A_0_1_C_2_E,", "3,4,"},
      {"Power Summary: Total", five, "A_0_1_C_2_D_3_E,", "4,"},
      {"Summary: Total, ACPI D-State" + residency, {"A", "B"}, "", "", 1},
      {"ACPI D-State" + residency, {"A", "B", "C", "D"}, "", ""},
      {"Summary: Average Rate and Total", {"A", "B"}, "", ""},
      {"Summary: Total", {"A"}, "", ""},
      {"Anything", {"A"}, "", ""},
      {"Anything", {}, "", "", 1},
      {"Anything", {"", "Total_x", "x Total_", "Total"}, "0_x Total_,0_Total,", "2,3,"},
      {"Anything", {"Total_", "B"}, "Total__0_B,", "1,"},
      {"GPU Summary: Total Samples Received", five, "", ""},
      {"GPU Summary: Counts", five, "", ""},
      {"GPU Summary: Entry Counts", five, "", ""},
      {"GPU Summary - Sampled: Total Samples Received", five, "", ""},
      {"GPU Summary - Sampled: Counts", {"A", "B"}, "A_0_B,", "1,"},
  };
  g_pluginEnvironment->setVerbosity(PW_LOG_WARNING);
  for (const Case& test : cases) {
    SCOPED_TRACE(test.title);
    reopen("run");
    std::vector<const pwr::DataHandle*> handles;
    std::vector<Data> cells;
    for (const char* name : test.columns) {
      cells.emplace_back(cells.size());
      handles.push_back(column(name));
    }
    EXPECT_EQ(row(describe({.title = test.title, .handles = handles}), cells), test.status);
    expectColumns(test.names, test.values);
  }
  EXPECT_EQ(log_.all(), "");
}

TEST_F(AutoWriterTest, TitlesOfEntitiesAndHeadings) {
  const pwr::TableDescription plain = {
      .title = "T",
      .sharedHandles = {column("State", "ignored")},
      .entities = {pwr::createEntity({.name = "CPU0"}), pwr::createEntity({.name = "CPU1"})},
      .handles = {column("(%)", "Idle"), column("A"), column("", "B")}};
  pwr::TableDescription headed = plain;
  headed.fieldHeaders = true;
  headed.sharedHandles = {column("State", "Sleep")};
  const std::vector<Data> cells = {Data("C1"), Data(1), Data(2.0), Data("n, a"), Data(4)};
  EXPECT_EQ(send(pwr::TableMessage(describe(plain))), 0) << "defines titles, has no values";
  EXPECT_EQ(row(describe(plain), cells), 0);
  EXPECT_EQ(send(pwr::MetricContainerInfoMessage({.containerId = 1})), 0);
  EXPECT_EQ(send(pwr::MetricContainerInfoMessage(
                {.table = std::make_shared<pwr::TableMessage>(describe(headed), cells)})),
            0);
  const std::string values = "1,2.00,\"n, a\",4,Invalid,Invalid,";
  expectColumns(
      "State_C1_CPU0 (%),State_C1_CPU0 A,State_C1_CPU0,"
      "State_C1_CPU1 (%),State_C1_CPU1 A,State_C1_CPU1,"
      "Sleep State_C1_CPU0 Idle (%),Sleep State_C1_CPU0 A,Sleep State_C1_CPU0 B,"
      "Sleep State_C1_CPU1 Idle (%),Sleep State_C1_CPU1 A,Sleep State_C1_CPU1 B,",
      values + values);
}

TEST_F(AutoWriterTest, OnlyWhatNeedsQuotesGetsThem) {
  const Table table = describe({.title = "T", .handles = {column("Na,me"), column("\"V\" (a b)")}});
  EXPECT_EQ(row(table, {Data("x"), Data("two\r\nlines")}), 0);
  EXPECT_EQ(row(table, {Data("y"), Data("plain; 'text' ")}), 0);
  expectColumns("\"Na,me_x_\"\"V\"\" (a b)\",\"Na,me_y_\"\"V\"\" (a b)\",",
                "\"two\r\nlines\",plain; 'text' ,");
}

// Each number must be in the unit that its title names, and a number that names its row is no time.
TEST_F(AutoWriterTest, TimesAreScaledAsInTheSummaryReport) {
  const std::pair<const char*, std::string> cases[] = {
      {"0", "0.50,4000000,7,never,1.00 - 2.00,"},
      {"1", "1000000,4000000,7,never,2000000 - 4000000,"}};
  const auto* const time = pwr::Quantity::time();
  const auto* const count = pwr::createQuantity({.type = pwr::QuantityType::Count});
  const pwr::SystemMetadata metadata({.tscFrequencyMHz = 2000.0F});
  for (const auto& [ticksSwitch, values] : cases) {
    setEnvironment("PW_DO_TIMELINE_TSC", ticksSwitch);
    reopen("run");
    EXPECT_EQ(send(pwr::SystemMessage(&metadata)), 0);
    const Table table = describe(
        {.title = "T",
         .quantity = time,
         .handles = {column("CPU"), column("T", "", time), column("U"), column("N", "", count),
                     column("S", "", time), column("R", "", time)}});
    const std::vector<Data> cells = {Data(3),       Data(1000000U),
                                     Data(4000000), Data(7),
                                     Data("never"), Data(Data::IntPair(2000000, 4000000))};
    EXPECT_EQ(row(table, cells), 0);
    expectColumns("Collection_Time,Duration (sec),CPU_3_T,CPU_3_U,CPU_3_N,CPU_3_S,CPU_3_R,",
                  ",0," + values);
  }
  setEnvironment("PW_DO_TIMELINE_TSC", nullptr);
}

// The columns stand where the system message came; their values are those at the end.
TEST_F(AutoWriterTest, CollectionTimeAndDuration) {
  struct CommaForPoint : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
  };
  std::locale::global(std::locale(std::locale::classic(), new CommaForPoint));
  const std::pair<double, const char*> cases[] = {
      {10.0, "10"}, {12.3456789, "12.3457"}, {86400.5, "86400.5"}, {1234567.0, "1.23457e+06"}};
  for (const auto& [seconds, text] : cases) {
    reopen("run");
    const Table table = describe({.title = "T", .handles = {column(""), column("V")}});
    EXPECT_EQ(row(table, {Data("early"), Data(1)}), 0);
    pwr::SystemMetadata metadata({.collectionStartTime = "soon"});
    EXPECT_EQ(send(pwr::SystemMessage(&metadata)), 0);
    EXPECT_EQ(row(table, {Data("late"), Data(2)}), 0);
    metadata.edit().collectionStartTime = "2031-05-06 07:08:09";
    metadata.edit().collectionDurationSec = seconds;
    expectColumns("early_V,Collection_Time,Duration (sec),late_V,",
                  std::string("1,2031-05-06 07:08:09,") + text + ",2,");
  }
  std::locale::global(std::locale::classic());
}

// Columns of the run before, or its system description, which is gone by then, must not come back.
TEST_F(AutoWriterTest, ReopenedWriterBeginsAnew) {
  const Table table = describe({.title = "T", .handles = {column(""), column("V")}});
  for (const bool fails : {false, true}) {
    SCOPED_TRACE(fails);
    {
      const pwr::SystemMetadata metadata({.collectionStartTime = "then"});
      EXPECT_EQ(send(pwr::SystemMessage(&metadata)), 0);
      EXPECT_EQ(send(pwr::SystemMessage(&metadata)), 0) << "no second pair of columns";
      EXPECT_EQ(row(table, {Data("a"), Data(1)}), 0);
      if (fails) {
        std::filesystem::remove(kFile);
        std::filesystem::create_directory(kFile);
        EXPECT_EQ(writer_->closeOutput(), 1);
      } else {
        expectColumns("Collection_Time,Duration (sec),a_V,", "then,0,1,");
      }
    }
    ASSERT_EQ(writer_->openOutput("run", false), 0);
    EXPECT_EQ(row(table, {Data("b"), Data(2)}), 0);
    expectColumns("b_V,", "2,");
    ASSERT_EQ(writer_->openOutput("run", false), 0);
  }
}

TEST_F(AutoWriterTest, ClosedWriterWritesNothing) {
  writer_ = std::make_unique<AutoWriter>();
  const pwr::SystemMetadata metadata;
  EXPECT_EQ(send(pwr::SystemMessage(&metadata)), 1);
  EXPECT_EQ(row(simpleTable(1, 1, "T"), {Data(1)}), 1);
  EXPECT_EQ(send(pwr::MetricContainerInfoMessage({.containerId = 1})), 1);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_FALSE(std::filesystem::exists(kFile));
}

TEST_F(AutoWriterTest, FolderOfTheOutput) {
  const std::pair<const char*, const char*> cases[] = {{"name", ""},
                                                       {"sub/name", "sub/"},
                                                       {"x\\name", "x\\"},
                                                       {"sub/x\\name", "sub/x\\"},
                                                       {"x\\sub/", "x\\sub/"}};
  std::filesystem::create_directories("sub/x");
  std::filesystem::create_directories("x\\sub");
  for (const auto& [baseName, directory] : cases) {
    SCOPED_TRACE(baseName);
    const std::string path = std::string(directory) + kFile;
    std::filesystem::remove(path);
    reopen(baseName);
    EXPECT_FALSE(std::filesystem::exists(path)) << "made when the output is closed";
    EXPECT_EQ(writer_->closeOutput(), 0);
    EXPECT_EQ(readFile(path), "Output_Name,\n" + std::string(baseName) + ",\n");
  }
}

TEST_F(AutoWriterTest, LogLinesFollowTheVerbosity) {
  const std::string debug =
      "DEBUG: AutoWriter::writeMessage(T)\n"
      "DEBUG:  \t value = (k)\nDEBUG:  \t value = (1)\nDEBUG:  \t value = (2)\n"
      "DEBUG:  \t column = (K_k_B)\n"
      "DEBUG: AutoWriter::writeMessage(T)\n";
  const std::string failed = "DEBUG: AutoWriter::writeMessage(Empty)\n";
  const std::string info = "INFO: Error in TableMessage Empty\n";
  const std::pair<PWLogLevel, std::string> cases[] = {
      {PW_LOG_WARNING, ""}, {PW_LOG_DEBUG, debug + failed}, {PW_LOG_INFO, debug + failed + info}};
  const Table table =
      describe({.title = "T", .handles = {column("K"), column("Total_A"), column("B")}});
  for (const auto& [verbosity, expected] : cases) {
    log_.clear();
    g_pluginEnvironment->setVerbosity(verbosity);
    reopen("run");
    EXPECT_EQ(row(simpleTable(1, 1, "Summary: Counts"), {Data(1)}), 0);
    EXPECT_EQ(row(table, {Data("k"), Data(1), Data(2)}), 0);
    EXPECT_EQ(send(pwr::TableMessage(table)), 0);
    EXPECT_EQ(row(describe({.title = "Empty"}), {}), 1);
    expectColumns("K_k_B,", "2,");
    EXPECT_EQ(log_.general(), expected);
    EXPECT_EQ(log_.errors(), "");
  }
}

TEST_F(AutoWriterTest, FileThatCannotBeOpened) {
  std::filesystem::create_directory(kFile);
  for (const char* baseName : {"run", "missing/run"}) {
    log_.clear();
    reopen(baseName);
    EXPECT_EQ(writer_->closeOutput(), 1);
    EXPECT_EQ(log_.errors(), kNotOpened);
  }
  g_pluginEnvironment->setVerbosity(PW_LOG_NOTE);
  log_.clear();
  reopen("run");
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(log_.all(), "");
}

#if !defined(_WIN32)

// Once nothing fits, once a part of the addition does.
TEST_F(AutoWriterTest, NothingHalfWrittenStays) {
  const std::string start = std::string("ERROR: Could not extend ") + kFile + ": ";
  const std::string end = ". The line of this run is missing.\n";
  std::filesystem::create_symlink("/dev/full", kFile);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(log_.all(), start + "No space left on device" + end);
  std::filesystem::remove(kFile);

  run("first", "A", 1);
  const std::string before = readFile(kFile);
  log_.clear();
  reopen("second" + std::string(1000, 'x'));
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const auto previous = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit tight{before.size() + 100, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  EXPECT_EQ(writer_->closeOutput(), 1);
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, previous);
  EXPECT_EQ(log_.all(), start + "File too large" + end);
  EXPECT_EQ(readFile(kFile), before);
}

#endif

/// Starts a function in a process of its own, or in a thread where a process has no copies. What it
/// returns waits for the end and tells the function's result.
std::function<int()> startBeside(const std::function<int()>& work) {
#if defined(_WIN32)
  return [result = std::async(std::launch::async, work).share()] { return result.get(); };
#else
  const pid_t child = fork();
  if (child == 0) _exit(work());
  return [child] {
    int status = -1;
    return waitpid(child, &status, 0) == child ? status : -1;
  };
#endif
}

#if !defined(_WIN32)

/// From now on locks fail in this process, as on a file system that has none.
bool refuseLocks() {
  sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_flock, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOLCK),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{static_cast<unsigned short>(std::size(code)), code};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST_F(AutoWriterTest, FileSystemWithoutLocks) {
  const auto child = startBeside([&] {
    const bool isWritten = refuseLocks() && writer_->closeOutput() == 0;
    return isWritten && log_.all().starts_with("WARNING: Could not lock ") ? 0 : 1;
  });
  EXPECT_EQ(child(), 0);
  EXPECT_EQ(readFile(kFile), "Output_Name,\nrun,\n");
}

#endif

// Two processes with two threads each, whose lines are long and whose headers differ: each line
// must be whole and stand below the header of its own run.
TEST_F(AutoWriterTest, RunsThatEndAtOnceTakeTurns) {
  constexpr int kRuns = 100;
  const auto oneThread = [&](const std::string& name, int& failures) {
    const Table table = describe({.title = "T", .handles = {column(""), column("V")}});
    for (int i = 0; i < kRuns; ++i) {
      AutoWriter writer;
      failures += writer.openOutput(name, false);
      failures += WriterDispatch::write(
          writer, pwr::TableMessage(table, {Data(name), Data(std::string(20000, name[0]))}));
      failures += writer.closeOutput();
    }
  };
  const auto twoThreads = [&](const std::string& first, const std::string& second) {
    int failures[] = {0, 0};
    std::thread other(oneThread, second, std::ref(failures[1]));
    oneThread(first, failures[0]);
    other.join();
    return failures[0] + failures[1];
  };
  const auto otherProcess = startBeside([&] { return twoThreads("a", "b") == 0 ? 0 : 1; });
  EXPECT_EQ(twoThreads("c", "d"), 0);
  EXPECT_EQ(otherProcess(), 0);

  std::ifstream file(kFile);
  std::string header;
  std::map<std::string, int> lines;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("Output_Name")) {
      EXPECT_NE(line, header) << "repeated";
      header = line;
      continue;
    }
    const std::string name = line.substr(0, 1);
    EXPECT_EQ(header, "Output_Name," + name + "_V,");
    EXPECT_TRUE(line == name + "," + std::string(20000, name[0]) + ",") << line.substr(0, 100);
    ++lines[name];
  }
  EXPECT_EQ(lines,
            (std::map<std::string, int>{{"a", kRuns}, {"b", kRuns}, {"c", kRuns}, {"d", kRuns}}));
}

}  // namespace
