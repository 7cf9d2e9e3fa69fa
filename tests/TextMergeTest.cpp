#include <cstdint>

#include "TextTestSupport.h"

namespace {

using namespace text_test;

using pwr::Data;

class TextMergeTest : public TextTest {};

// Cells whose lengths and texts fall on every side of the chunk edges (256 bytes and its doubles).
TEST_F(TextMergeTest, RecordsAcrossChunkEdges) {
  g_pluginEnvironment->setVerbosity(PW_LOG_INFO);
  std::vector<std::size_t> sizes;
  for (const std::size_t middle : {250U, 510U, 1022U}) {
    for (std::size_t size = middle - 12; size <= middle + 12; ++size) sizes.push_back(size);
  }
  std::string expected;
  for (unsigned int table = 0; table < sizes.size(); ++table) {
    const std::string title = std::to_string(sizes[table]);
    const Table two = describe({.containerId = 1,
                                .tableId = table,
                                .title = title,
                                .handles = {column("A"), column("B")}});
    const std::string big(sizes[table], 'x');
    const std::string fill(sizes[table] - 1, ' ');
    EXPECT_EQ(row(two, {Data("one"), Data(big)}), 0);
    EXPECT_EQ(row(two, {Data(""), Data("y")}), 0);
    EXPECT_EQ(row(two, {Data("3"), Data(big)}), 0);
    for (const std::string& line :
         {title, "A  , B" + fill, "one, " + big, "   , y" + fill, "3  , " + big}) {
      expected += line + "\n";
    }
  }
  EXPECT_EQ(report(), expected);
  // The two header cells and "one" take 17 bytes of the first chunk of 256.
  const std::string& logged = log_.general();
  EXPECT_NE(logged.find("INFO: Rewinding file 2 a by -239 (17 256)\n"), std::string::npos);
  EXPECT_NE(logged.find("INFO: Rewinding file a by -"), std::string::npos);
}

TEST_F(TextMergeTest, LargeTables) {
  constexpr unsigned int kRows = 10000;
  const std::string huge(std::size_t{1} << 20U, 'h');
  const Table wide = simpleTable(1, 1, "Wide");
  EXPECT_EQ(row(wide, {Data(1)}), 0);
  EXPECT_EQ(row(wide, {Data(huge)}), 0);
  const Table longTable = describe(
      {.containerId = 1, .tableId = 2, .title = "Long", .handles = {column("N"), column("Text")}});
  const std::string blanks(huge.size() - 1, ' ');
  std::string expected =
      "Wide\nV" + blanks + "\n1" + blanks + "\n" + huge + "\nLong\nN   , Text \n";
  for (unsigned int n = 0; n < kRows; ++n) {
    EXPECT_EQ(row(longTable, {Data(n), Data("r" + std::to_string(n))}), 0);
    const std::string number = std::to_string(n);
    const std::string fill(4 - number.size(), ' ');
    expected.append(number).append(fill).append(", r").append(number).append(fill).append("\n");
  }
  EXPECT_TRUE(report() == expected);
}

TEST_F(TextMergeTest, TemporaryFilesArePrivateAndTransient) {
  std::filesystem::current_path(folder_.path());
  for (const bool closed : {true, false}) {
    writer_ = std::make_unique<SummaryWriter>();
    ASSERT_EQ(writer_->openOutput("run", false), 0);
    EXPECT_EQ(privateDirectories().size(), 0U);
    std::filesystem::current_path("/");
    EXPECT_EQ(row(simpleTable(1, 1, "Mine"), {Data(1)}), 0);
    SummaryWriter other;
    ASSERT_EQ(other.openOutput(folder_.path("other"), false), 0);
    const pwr::TableMessage theirs(simpleTable(1, 1, "Theirs"));
    EXPECT_EQ(WriterDispatch::write(other, theirs), 0);

    ASSERT_EQ(privateDirectories().size(), 2U);
    for (const auto& directory : privateDirectories()) {
      // Windows has other rights, which are tested on their own.
      if (kIsWindows) continue;
      EXPECT_EQ(std::filesystem::status(directory).permissions(),
                std::filesystem::perms::owner_all);
    }
    EXPECT_TRUE(tempFiles().at(0).filename().string().starts_with("tmp___"));
    if (closed) {
      EXPECT_EQ(report(), "Mine\nV\n1\n");
    }
    writer_.reset();
    EXPECT_EQ(privateDirectories().size(), 1U);
    EXPECT_EQ(other.closeOutput(), 0);
    EXPECT_EQ(readFile(folder_.path("other.csv")), "Theirs\nV\n");
    EXPECT_EQ(privateDirectories().size(), 0U);
    std::filesystem::current_path(folder_.path());
  }
}

}  // namespace
