#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "packing/Packing.h"
#include "tavrin/ship/Answer.h"
#include "tavrin/ship/Backlog.h"
#include "tavrin/ship/Backoff.h"
#include "tavrin/ship/BatchReader.h"
#include "tavrin/ship/EngineProbe.h"
#include "tavrin/ship/QueuedFile.h"
#include "tavrin/ship/ShipStatistics.h"

namespace tavrin {

namespace {

using std::chrono::seconds;

TEST(ShipOrder, TimesComeBeforeNamesWhoseNumbersCount) {
  const std::vector<FileOrder> wanted = {{1, "z"},           {2, "run_0_0"}, {2, "run_0_9"},
                                         {2, "run_0_10"},    {2, "run_2_1"}, {2, "run_10_0"},
                                         {2, "run_10_0.lp"}, {2, "run_a"},   {3, ""}};
  for (auto one = wanted.begin(); one != wanted.end(); ++one) {
    for (auto other = wanted.begin(); other != wanted.end(); ++other) {
      EXPECT_EQ(*one < *other, one < other) << one->name << " and " << other->name;
    }
  }
  EXPECT_NE(isNameBefore("run_02", "run_2"), isNameBefore("run_2", "run_02"));
}

TEST(ShipAnswers, MeanWhatTheirStatusSays) {
  const std::pair<long, Verdict> cases[] = {
      {0, Verdict::Again},      {200, Verdict::Taken},   {204, Verdict::Taken},
      {301, Verdict::Hold},     {307, Verdict::Hold},    {400, Verdict::Refused},
      {401, Verdict::Hold},     {403, Verdict::Hold},    {404, Verdict::Hold},
      {407, Verdict::Hold},     {408, Verdict::Again},   {409, Verdict::Refused},
      {413, Verdict::TooLarge}, {422, Verdict::Refused}, {425, Verdict::Again},
      {429, Verdict::Again},    {500, Verdict::Again},   {503, Verdict::Again},
      {599, Verdict::Again},    {999, Verdict::Again}};
  for (const auto& [status, verdict] : cases) {
    EXPECT_EQ(verdictOf({.status = status}), verdict) << status;
  }
  EXPECT_EQ(verdictOf({.status = 400, .words = "unsupported path requested: \"/x\""}),
            Verdict::Hold);
  const std::string text = textOf({.status = 400, .words = "a\nb\x1b[2J" + std::string(9999, 'x')});
  EXPECT_TRUE(text.starts_with("HTTP status 400: a b\\x1b[2Jxx")) << text;
  EXPECT_LT(text.size(), 500U);
}

TEST(ShipBackoff, GrowsToItsBoundAndIsSpread) {
  Backoff backoff(Backoff::Duration(60.0), 1);
  double bound = 1.0;
  for (int n = 0; n < 10; ++n) {
    const double wait = backoff.next().count();
    EXPECT_LE(wait, bound);
    EXPECT_GE(wait, bound / 2.0);
    bound = std::min(bound * 2.0, 60.0);
  }
  EXPECT_GE(backoff.next(Backoff::Duration(100.0)).count(), 100.0);
  EXPECT_LE(backoff.next(Backoff::Duration(100.0)).count(), 111.0);
  backoff.reset();
  EXPECT_LE(backoff.next().count(), 1.0);
  EXPECT_GE(backoff.longest().count(), 30.0);
  EXPECT_LE(Backoff(Backoff::Duration(0.1), 1).next().count(), 0.1);
}

TEST(ShipBackoff, HeedsRetryAfter) {
  const auto now = std::chrono::system_clock::from_time_t(1784721600);  // 22 July 2026, 12:00
  const std::pair<const char*, std::optional<double>> cases[] = {
      {"7", 7.0},
      {"0", {}},
      {"-3", {}},
      {"soon", {}},
      {"", {}},
      {"3 apples", {}},
      {"86400", 3600.0},
      {"99999999999999999999999", 3600.0},
      {"Wed, 22 Jul 2026 12:00:30 GMT", 30.0},
      {"Wed, 22 Jul 2026 11:00:00 GMT", {}},
      {"Wed, 22 Jul 2099 12:00:00 GMT", 3600.0}};
  for (const auto& [text, wanted] : cases) {
    const auto wait = retryAfter(text, now);
    ASSERT_EQ(wait.has_value(), wanted.has_value()) << text;
    if (wait) {
      EXPECT_DOUBLE_EQ(wait->count(), *wanted) << text;
    }
  }
}

QueuedFilePtr fileOf(std::int64_t modified) {
  return std::make_shared<QueuedFile>(
      QueuedFile{.order = {.modified = modified, .name = std::to_string(modified)}});
}

/// Takes the next file, and tells which one it was.
std::int64_t takeNext(Backlog& backlog, std::optional<Backlog::Clock::time_point> acknowledged) {
  auto next = backlog.take();
  if (!next) return -1;
  const std::int64_t file = next->file->order.modified;
  if (acknowledged) {
    backlog.acknowledge(std::move(*next), *acknowledged);
  } else {
    backlog.putBack(std::move(*next));
  }
  return file;
}

TEST(ShipBacklog, NewFilesComeBeforeThoseThatAreSentAgain) {
  Backlog backlog;
  const Backlog::Clock::time_point start{seconds(1000)};
  for (const std::int64_t file : {3, 1, 2, 4}) backlog.add(fileOf(file));
  EXPECT_EQ(takeNext(backlog, {}), 1) << "one that was put back is the oldest again";
  EXPECT_EQ(takeNext(backlog, start), 1);
  EXPECT_EQ(takeNext(backlog, start + seconds(1)), 2);
  backlog.doubt(3);
  EXPECT_EQ(backlog.held(), 0U);
  EXPECT_EQ(backlog.oldest()->order.modified, 1);
  auto time = start;
  for (const std::int64_t file : {3, 4, 1, 2}) {
    EXPECT_EQ(takeNext(backlog, time += seconds(1)), file);
  }
  EXPECT_EQ(takeNext(backlog, start), -1);
  EXPECT_EQ(backlog.heldSince(), start + seconds(1));
  EXPECT_TRUE(backlog.release(start).empty());
  EXPECT_EQ(backlog.release(start + seconds(2)).size(), 2U);
  EXPECT_EQ(backlog.held(), 2U);
}

TEST(ShipBacklog, ForgetsFilesThatAreGoneAndDoubtsThatComeTooOften) {
  Backlog backlog;
  const Backlog::Clock::time_point now{seconds(1000)};
  const QueuedFilePtr gone = fileOf(1);
  backlog.add(gone);
  backlog.add(fileOf(2));
  for (int n = 0; n < 3; ++n) {
    backlog.doubt(3);
    while (takeNext(backlog, now) > 0) {
    }
  }
  backlog.doubt(3);
  EXPECT_EQ(backlog.waiting(), 0U) << "acknowledged three times";
  backlog.doubt(4);
  EXPECT_EQ(backlog.waiting(), 2U);
  gone->isGone = true;
  EXPECT_EQ(takeNext(backlog, now), 2);
  EXPECT_EQ(takeNext(backlog, now), -1);
}

class ShipBatches : public ::testing::Test {
 protected:
  std::string write(const std::string& name, const std::string& bytes) {
    folder_.write(name, bytes);
    return folder_.path(name);
  }
  static std::string packed(const std::string& text, std::size_t member) {
    std::string bytes;
    const auto packer = createPacker(Packing::Gzip);
    for (std::size_t at = 0; at < text.size(); at += member) {
      EXPECT_EQ(packer->pack(text.substr(at, member), bytes) + packer->endFrame(bytes), 0);
    }
    return bytes;
  }
  /// The text as its batches have it, each of which is checked.
  static std::string read(BatchReader& reader, std::size_t most) {
    std::string text;
    for (std::string_view batch = reader.peek(most); !batch.empty(); batch = reader.peek(most)) {
      const bool isLine = batch.find('\n') >= batch.size() - 1;
      EXPECT_TRUE(batch.size() <= most || isLine) << batch.size();
      text += batch;
      EXPECT_TRUE(batch.ends_with('\n') || reader.offset() + batch.size() == text.size());
      reader.consume(batch.size());
    }
    return text;
  }

  TempFolder folder_;
};

TEST_F(ShipBatches, AreWholeLinesWhateverTheirSize) {
  std::string text;
  for (int n = 0; n < 40000; ++n) text += std::string(static_cast<std::size_t>(n % 97), 'x') + "\n";
  for (const std::string& whole :
       {text, text + "the last", std::string("one\ntwo"), std::string("\n")}) {
    for (const bool isPacked : {false, true}) {
      const std::string path = isPacked ? write("a.gz", packed(whole, 10001)) : write("a", whole);
      for (const std::size_t most : {whole.size() / 100, BatchReader::kMostText}) {
        BatchReader reader(path, 0);
        EXPECT_EQ(read(reader, most), whole);
        EXPECT_EQ(reader.fault(), "");
        EXPECT_EQ(reader.offset(), whole.size());
      }
    }
  }
}

TEST_F(ShipBatches, GoOnWhereTheyShall) {
  const std::string text = "one\ntwo\nthree\n";
  const std::string path = write("a.lp.gz", packed(text, 5));
  BatchReader reader(path, 4);
  EXPECT_EQ(reader.peek(1000), "two\nthree\n");
  EXPECT_FALSE(reader.isWholePackedFile(10));
  EXPECT_EQ(reader.peek(5), "two\n") << "less, when less is asked for";
  reader.consume(4);
  EXPECT_EQ(reader.lines(), 2U);
  EXPECT_EQ(reader.offset(), 8U);
  BatchReader whole(path, 0);
  EXPECT_EQ(whole.peek(1000).size(), text.size());
  EXPECT_TRUE(whole.isWholePackedFile(text.size()));
  EXPECT_FALSE(whole.isWholePackedFile(4));
}

TEST_F(ShipBatches, EndWithAFaultBehindWhatIsSound) {
  std::string text;
  for (int n = 0; n < 1000; ++n) text += std::to_string(n * 7919) + "\n";
  const std::string good = packed(text, 700);
  for (std::size_t size = 0; size < good.size(); size += 37) {
    BatchReader reader(write("a.lp.gz", good.substr(0, size)), 0);
    const std::string sound = read(reader, 500);
    EXPECT_TRUE(text.starts_with(sound));
    EXPECT_TRUE(sound.empty() || sound.ends_with('\n') || reader.fault().empty());
    EXPECT_TRUE(!reader.fault().empty() || sound.size() % 700 == 0) << size;
  }
  BatchReader endless(write("b.lp", "short\n" + std::string(5'000'000, 'x')), 0);
  EXPECT_EQ(read(endless, BatchReader::kMostText), "short\n");
  EXPECT_NE(endless.fault(), "");
}

TEST(ShipFigures, AreALine) {
  const ShipPlace place{.host = "a b,c=d\\", .folder = "/x\\,\x7F"};
  const ShipCounts counts{.files = 1, .lines = 2, .bytes = 3, .rejected = 4, .failed = 5};
  const ShipLoad load{.files = 6, .lagSec = 1.5, .lost = 7};
  EXPECT_EQ(statisticsLine(place, counts, load, std::chrono::system_clock::from_time_t(8)),
            "tavrin_ship,host=a\\ b\\,c\\=d/,folder=/x/\\,\\  "
            "lag_seconds=1.500,sent_bytes=3,sent_files=1,"
            "sent_lines=2,waiting_files=6,lost_files=7,rejected_files=4,failed_requests=5 "
            "8000000000\n");
}

}  // namespace

}  // namespace tavrin
