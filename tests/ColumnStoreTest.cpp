#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "StorageTestSupport.h"
#include "writers/columns/ColumnStore.h"

namespace {

using storage_test::ScarceStorage;

using Row = std::vector<std::optional<std::string>>;
using Names = std::vector<std::string>;

const std::string kMissing =
    "WARNING: Rows of the table T are missing: its temporary file could not be ";

class ColumnStoreTest : public storage_test::StorageTest {
 protected:
  static std::string print(ColumnStore& table, const std::string& separator = ",",
                           bool leadingNewline = false, int status = 0) {
    char* text = nullptr;
    std::size_t size = 0;
    FILE* const output = open_memstream(&text, &size);
    EXPECT_EQ(table.writeTo(output, separator, leadingNewline), status);
    std::fclose(output);
    std::string printed(text, size);
    std::free(text);
    return printed;
  }

  static void addRow(ColumnStore& table, const Row& row) {
    for (unsigned int column = 0; column < row.size(); ++column) {
      if (!row[column]) continue;
      EXPECT_EQ(table.setColumnData(*row[column], column), 0);
    }
    table.completeRow();
  }

  static std::unique_ptr<ColumnStore> makeTable(const Names& names, const std::vector<Row>& rows) {
    auto table = std::make_unique<ColumnStore>("T", "n/a");
    for (const std::string& name : names) table->addColumn(name);
    for (const Row& row : rows) addRow(*table, row);
    return table;
  }

  static std::string tempFile() { return std::filesystem::directory_iterator(".")->path(); }
};

class ScarceTableTest : public ColumnStoreTest,
                        public testing::WithParamInterface<storage_test::ScarceKind> {};

TEST_F(ColumnStoreTest, Tables) {
  const auto none = std::nullopt;
  const struct {
    Names names;
    std::vector<Row> rows;
    std::string printed;
  } tables[] = {
      {{"A", "Bee"}, {{"x", "yy"}, {"zzz", none}}, "T\n  A, Bee\n  x,  yy\nzzz, n/a\n\n"},
      {{"A", "B"}, {}, "T\nA, B\n\n"},
      {{}, {{}, {}}, "T\n\n\n\n\n"},
      // A placeholder never widens a column.
      {{"A", "Long"}, {{none, none}, {none, "1"}}, "T\nA, Long\nn/a,  n/a\nn/a,    1\n\n"},
      {{"A", "B"}, {{"", ""}}, "T\nA, B\n ,  \n\n"},
      // A cell that is a line break ends its row; what follows begins the next one.
      {{"A", "B", "C"},
       {{"1", "\n", "3"}, {"\n", "2", "3"}, {"1", "2", "\n"}},
       "T\nA, B, C\n1, n/a, n/a\n3, n/a, n/a\n, n/a, n/a, n/a\n2, 3, n/a\n1, 2, n/a\n"
       ", n/a, n/a, n/a\n\n"},
      {{"A"},
       {{"\n\n"}, {std::string("a\0b", 3)}},
       std::string("T\n  A\n \n\n\n") + "a" + '\0' + "b\n\n"},
      {{std::string(300, 'w'), "B"},
       {{"1", "2"}, {"1", std::string(70000, 'v')}},
       "T\n" + std::string(300, 'w') + ", " + std::string(69999, ' ') + "B\n" +
           std::string(299, ' ') + "1, " + std::string(69999, ' ') + "2\n" + std::string(299, ' ') +
           "1, " + std::string(70000, 'v') + "\n\n"},
  };
  for (const auto& expected : tables) {
    EXPECT_EQ(print(*makeTable(expected.names, expected.rows)), expected.printed);
  }
  EXPECT_EQ(print(*makeTable({"A", "B"}, {{"1", none}}), "\t|", true), "\nT\nA\t| B\n1\t| n/a\n\n");
  EXPECT_EQ(log_.all(), "");
  EXPECT_EQ(filesHere(), 0U);
}

// What rows that are out of line do to those around them, where many follow.
TEST_F(ColumnStoreTest, UnusualRowsAmongMany) {
  const std::optional<std::string> none;
  std::vector<Row> rows;
  std::string expected = "T\n A, B\n";
  for (int n = 0; n < 2000; ++n) {
    rows.insert(rows.end(), {{"1", "2"}, {none, "3"}, {"\n", "4"}, {"55", "\n"}});
    expected += " 1, 2\nn/a, 3\n, n/a, n/a\n 4, n/a\n55, n/a\n, n/a, n/a\n";
  }
  EXPECT_EQ(print(*makeTable({"A", "B"}, rows)), expected + "\n");
}

TEST_F(ColumnStoreTest, CellsInAnyOrder) {
  const auto table = makeTable({"A", "B", "C"}, {});
  for (const auto& [value, column] :
       std::vector<std::pair<const char*, unsigned int>>{{"third", 2}, {"longest", 0}, {"1", 0}}) {
    EXPECT_EQ(table->setColumnData(value, column), 0);
  }
  table->completeRow();
  addRow(*table, {"a", "b", "c"});
  // A column that comes late reads as the placeholder in the rows before it.
  EXPECT_EQ(table->addColumn("D"), 3U);
  addRow(*table, {"a", "b", "c", "d"});
  // The first columns at once, and one of them again.
  table->beginRow(std::string_view("x"), pwr::TwoDecimals(0.25));
  EXPECT_EQ(table->setColumnData("y", 1), 0);
  // One that comes within a row, behind a gap.
  EXPECT_EQ(table->addColumn("E"), 4U);
  EXPECT_EQ(table->setColumnData("e", 4), 0);
  table->completeRow();
  EXPECT_EQ(print(*table),
            "T\n      A,    B,     C, D, E\n      1,  n/a, third, n/a, n/a\n"
            "      a,    b,     c, n/a, n/a\n      a,    b,     c, d, n/a\n"
            "      x,    y,   n/a, n/a, e\n\n");
}

TEST_F(ColumnStoreTest, RefusedColumns) {
  const auto table = makeTable({"A", "B", "C"}, {});
  EXPECT_EQ(table->setColumnData("x", 5), 1);
  EXPECT_EQ(log_.general(),
            "WARNING: Trying to set data for a column 5 before adding it to the store.Columns "
            "added=3\n");
  log_.clear();
  for (unsigned int column = 3; column < 65536; ++column) {
    ASSERT_EQ(table->addColumn("x"), column);
  }
  EXPECT_EQ(table->addColumn("late"), ColumnStore::kNoColumn);
  EXPECT_EQ(table->addColumn("later"), ColumnStore::kNoColumn);
  EXPECT_EQ(log_.general(),
            "WARNING: The table T has 65536 columns and can take no more: late is left out\n");
  log_.clear();
  EXPECT_EQ(table->setColumnData("x", ColumnStore::kNoColumn), 1);
  EXPECT_EQ(log_.all(), "");  // that it was refused has been told
  EXPECT_EQ(table->setColumnData("last", 65535), 0);
  table->completeRow();
  const std::string printed = print(*table);
  EXPECT_EQ(printed.substr(printed.size() - 13), ", n/a, last\n\n");
}

TEST_F(ColumnStoreTest, InformationalLines) {
  for (const bool byTag : {false, true}) {
    log_.clear();
    g_pluginEnvironment->setVerbosity(byTag ? PW_LOG_NOTE : PW_LOG_INFO);
    if (byTag) g_pluginEnvironment->enableDebugLoggingFor("text-writer-plugin");
    print(*makeTable({"One", "B"}, {{"xyz"}}));
    EXPECT_EQ(log_.all(),
              "INFO: Column#1 width=3\nINFO: Column#2 width=1\n"
              "INFO: Wrote 3\nINFO: Wrote xyz\nINFO: Wrote 3\nINFO: Wrote n/a\n"
              "INFO: Wrote the row complete token\n"
              "INFO: Column width=3\nINFO: Column width=1\nINFO: Read 19 bytes from store\n"
              "INFO: Read xyz\nINFO: Read n/a\nINFO: Read \n\n");
  }
}

/// The table as it has to be, put together in memory.
std::string layOut(const Names& names, const std::vector<Row>& rows) {
  std::vector<std::size_t> widths;
  for (std::size_t column = 0; column < names.size(); ++column) {
    widths.push_back(names[column].size());
    for (const Row& row : rows) {
      if (row[column]) widths.back() = std::max(widths.back(), row[column]->size());
    }
  }
  std::string text = "T\n";
  const auto addLine = [&](const auto& cellAt) {
    for (std::size_t column = 0; column < widths.size(); ++column) {
      const std::string cell = cellAt(column);
      if (column > 0) text += ", ";
      if (cell.size() < widths[column]) text.append(widths[column] - cell.size(), ' ');
      text += cell;
    }
    text += '\n';
  };
  addLine([&](std::size_t column) { return names[column]; });
  for (const Row& row : rows) {
    addLine([&](std::size_t column) { return row[column].value_or("n/a"); });
  }
  return text + "\n";
}

// Cells that lie on every side of the edges of what is read at once (1 MiB and its doubles).
TEST_F(ColumnStoreTest, EdgesOfChunks) {
  constexpr std::size_t kMiB = 0x100000;
  g_pluginEnvironment->setVerbosity(PW_LOG_INFO);
  bool withinLength = false;
  for (std::size_t size = kMiB - 24; size <= kMiB + 4; ++size) {
    const std::vector<Row> rows{{std::string(size, 'x'), "y"}, {"1", std::nullopt}};
    const std::string printed = print(*makeTable({"A", "B"}, rows));
    ASSERT_TRUE(printed == layOut({"A", "B"}, rows)) << size;
    const bool doubled = size > kMiB - 4;
    EXPECT_EQ(log_.general().find("INFO: Doubling buffer size to 1048576 bytes to get the next "
                                  "complete string\n") != std::string::npos,
              doubled)
        << size;
    withinLength |= log_.general().find(
                        "INFO: INFO: Rewinding store by 3 bytes to read next "
                        "complete string\n") != std::string::npos;
    log_.clear();
  }
  EXPECT_TRUE(withinLength);
}

TEST_F(ColumnStoreTest, RandomTables) {
  std::mt19937 random(testSeed());
  for (int run = 0; run < 12; ++run) {
    const Names names{"Number", "B", "Third column"};
    // A few large cells, or many small ones.
    const std::size_t largest = run % 3 == 0 ? 300000 : 40;
    std::vector<Row> rows(random() % (run % 3 == 0 ? 60 : 30000));
    for (Row& row : rows) {
      for (std::size_t column = 0; column < names.size(); ++column) {
        row.emplace_back();
        const std::size_t size = random() % (random() % 2 == 0 ? 12 : largest);
        if (random() % 10 != 0) row.back() = std::string(size, static_cast<char>('a' + size % 26));
      }
    }
    ASSERT_TRUE(print(*makeTable(names, rows)) == layOut(names, rows));
  }
  EXPECT_EQ(log_.all(), "");
}

TEST_F(ColumnStoreTest, OutputFailures) {
  const auto table = makeTable({"A"}, {{"1"}});
  EXPECT_EQ(table->writeTo(nullptr, ",", false), 1);
  EXPECT_EQ(log_.general(), "WARNING: Please provide a valid output file to write\n");
  for (int rows = 1; rows < 1000000; rows *= 100) {
    log_.clear();
    for (int n = 0; n < rows; ++n) addRow(*table, {"1"});
    FILE* const full = std::fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    EXPECT_EQ(table->writeTo(full, ",", false), 1);
    std::fclose(full);
    EXPECT_EQ(log_.general(), "WARNING: Could not write the table T: No space left on device\n");
  }
}

// Rows for which there is no room are lost as a whole, and the table says so.
TEST_P(ScarceTableTest, LostRows) {
  ScarceStorage scarce(GetParam(), folder_.path("scarce"));
  if (!scarce.works()) GTEST_SKIP() << "needs the right to mount a file system";
  ColumnStore table("T", "n/a");
  table.addColumn("Row");
  constexpr int kRows = 400000;
  for (int n = 0; n < kRows; ++n) addRow(table, {std::to_string(100000 + n)});
  log_.clear();
  scarce.makeRoom();
  for (int n = 0; n < 1000; ++n) addRow(table, {"again"});
  const std::string printed = print(table, ",", false, 1);
  EXPECT_EQ(log_.all(), kMissing + "written\n");
  std::string expected = "T\n   Row\n";
  int kept = 0;
  while (printed.compare(expected.size(), 7, std::to_string(100000 + kept) + "\n") == 0) {
    expected += std::to_string(100000 + kept++) + "\n";
  }
  EXPECT_GT(kept, 100000);
  EXPECT_LT(kept, kRows);
  const auto rest = printed.size() - expected.size() - 1;
  EXPECT_GT(rest / 7, 700U);
  for (std::size_t n = 0; n < rest / 7; ++n) expected += " again\n";
  EXPECT_TRUE(printed == expected + "\n");
}
INSTANTIATE_TEST_SUITE_P(Kinds, ScarceTableTest,
                         testing::ValuesIn(storage_test::kKindsOfScarceStorage),
                         [](const auto& test) { return test.param.name; });

TEST_P(ScarceTableTest, LastRowsCannotBeStored) {
  ScarceStorage scarce(GetParam(), folder_.path("scarce"));
  if (!scarce.works()) GTEST_SKIP() << "needs the right to mount a file system";
  const auto table = makeTable({"A"}, std::vector<Row>(3000, {std::string(1000, 'x')}));
  testing::internal::CaptureStderr();
  EXPECT_EQ(print(*table, ",", false, 1), "T\n" + std::string(999, ' ') + "A\n\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR flushing dirty buffer while rewinding!\n"
            "ERROR flushing dirty buffer while rewinding!\n");
  EXPECT_TRUE(log_.all().ends_with(kMissing + "written\n")) << log_.all();
}

// A table whose temporary file cannot be read ends there, and is not complete.
TEST_F(ColumnStoreTest, UnreadableRows) {
  constexpr std::size_t kMiB = 0x100000;
  const std::vector<Row> rows(3000, {std::string(1000, 'x')});
  const auto table = makeTable({"A"}, rows);
  EXPECT_TRUE(print(*table) == layOut({"A"}, rows));
  std::filesystem::resize_file(tempFile(), kMiB + 1);
  testing::internal::CaptureStderr();
  const std::string printed = print(*table, ",", false, 1);
  // One row takes 1009 bytes, so the first MiB ends 225 bytes into a row.
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "ERROR: couldn't rewind 225 bytes\n");
  EXPECT_TRUE(printed == layOut({"A"}, std::vector<Row>(1039, rows[0])));
  const std::string failure = "WARNING: read error: errnum=5: Input/output error\n";
  EXPECT_EQ(log_.all(), failure + failure + kMissing + "read\n");
}

TEST_F(ColumnStoreTest, UnseekableRows) {
  const auto table = makeTable({"A"}, std::vector<Row>(3000, {std::string(1000, 'x')}));
  print(*table);
  storage_test::makeUnseekable(tempFile());
  EXPECT_EQ(print(*table, ",", false, 1), "T\n" + std::string(999, ' ') + "A\n\n");
  const std::string failure = "WARNING: seekg error: errnum=29: Illegal seek\n";
  EXPECT_EQ(log_.all(), failure + "WARNING: WARNING: couldn't reset buffer for reading!\n" +
                            failure + kMissing + "read\n");
}

// The cells of a row that is never completed are not part of the table, whatever comes before it.
TEST_F(ColumnStoreTest, RowThatIsNotCompleted) {
  for (const std::size_t rows : {0U, 1U, 20U, 3000U}) {
    const std::vector<Row> finished(rows, {"1", "2"});
    const auto table = makeTable({"A", "B"}, finished);
    EXPECT_EQ(table->setColumnData("x", 1), 0);
    EXPECT_EQ(table->setColumnData("y", 0), 0);
    EXPECT_EQ(print(*table), layOut({"A", "B"}, finished));
  }
}

// Lengths that somebody else has overwritten neither hang the print nor make it ask for memory
// without end.
TEST_F(ColumnStoreTest, DamagedRows) {
  const auto table = makeTable({"A"}, {{"1"}, {"2"}});
  print(*table);
  for (const char* damage : {"\xFF", "\x7F", "\x09"}) {
    std::string bytes(20, *damage);
    bytes.replace(0, 5, std::string("\1\0\0\0x", 5));
    folder_.write(tempFile(), bytes);
    EXPECT_EQ(print(*table, ",", false, 1), "T\nA\nx\n");
    EXPECT_TRUE(log_.all().ends_with(kMissing + "read\n")) << log_.all();
  }
}

}  // namespace
