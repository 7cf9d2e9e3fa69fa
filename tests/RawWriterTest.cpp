#include "ColumnWriterTestSupport.h"
#include "writers/columns/RawWriterV2.h"
#include "writers/host/Quantity.h"

namespace {

using namespace column_test;

class RawWriterTest : public ColumnWriterTest<RawWriterV2> {
 protected:
  int text(const std::string& line) {
    pwr::TextMessage message;
    message.setMessage(line);
    return send(message);
  }

  const pwr::EntityHandle* cpu_ = entity("CPU0", entity("Package0"));
  const pwr::DataDescriptor* c1_ = descriptor("C1");
  const pwr::DataDescriptor* c6_ = descriptor("C6");
  const pwr::MetricDescription* sleep_ =
      pwr::createMetric({.name = "Sleep",
                         .type = Type::SampledResidency,
                         .quantity = pwr::Quantity::time(),
                         .combinations = {{cpu_, c1_}, {cpu_, c1_}, {cpu_, c6_}}});
  const pwr::MetricDescription* room_ =
      pwr::createMetric({.name = "Room, \"upper\"", .combinations = {{cpu_, nullptr}, {}}});
};

// Texts at once, then the tables in the order of their first samples; pairs that a sample lacks,
// that it has twice and that the metric never announced.
TEST_F(RawWriterTest, WholeFile) {
  EXPECT_EQ(text("first"), 0);
  EXPECT_EQ(sample(room_, 5, {{Data(21.5), nullptr, cpu_, 1}, {Data("on,\noff"), c6_, cpu_, 1}}),
            0);
  EXPECT_EQ(sample(sleep_, 18446744073709551615U, {{Data(7U), c6_, cpu_, 1}}), 0);
  EXPECT_EQ(text("second"), 0);
  EXPECT_EQ(
      sample(sleep_, 1,
             {{Data(1U), c6_, cpu_, 1}, {Data(), c1_, cpu_, 1}, {Data(123456U), c6_, cpu_, 1}}),
      0);
  EXPECT_EQ(sample(room_, 6, {{Data(-3), nullptr, nullptr, 1}}), 0);
  EXPECT_EQ(send(pwr::MetricContainerInfoMessage({.containerId = 1, .heading = "not shown"})), 0);
  EXPECT_EQ(closed("run.txt"),
            "first\n\nsecond\n\n"
            "Room, \"upper\"\n"
            "Timestamp, Package0/CPU0,   , Package0/CPU0 C6\n"
            "        5,         21.50, n/a,          on,\noff\n"
            "        6,           n/a, -3,              n/a\n"
            "\nSleep\n"
            "           Timestamp, Package0/CPU0 C1 (ticks), Package0/CPU0 C6 (ticks)\n"
            "18446744073709551615,                      n/a,                        7\n"
            "                   1,                      n/a,                   123456\n\n");
  EXPECT_EQ(log_.all(), "");
}

TEST_F(RawWriterTest, FailuresAreReported) {
  EXPECT_EQ(text("only"), 0);
  EXPECT_EQ(closed("run.txt"), "only\n\n");
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(text("lost") + sample(room_, 5, {{Data(1), nullptr, cpu_, 1}}), 2);
  EXPECT_EQ(writer_->openOutput("/nowhere/run", false), 1);
  EXPECT_EQ(log_.general(),
            "WARNING: Output file run.txt does not exist\n"
            "WARNING: Writer raw has no open output: a text is refused.\n"
            "WARNING: Could not create /nowhere/run.txt\n");
}

#if !defined(_WIN32)
TEST_F(RawWriterTest, FullDiskLeavesTheLastFile) {
  EXPECT_EQ(text("whole"), 0);
  closed("run.txt");
  for (const bool withTable : {false, true}) {
    SCOPED_TRACE(withTable);
    log_.clear();
    reopen();
    testing::internal::CaptureStderr();
    const FullDisk full;
    if (withTable) sample(room_, 5, {{Data(1), nullptr, cpu_, 1}});
    text("lost");
    EXPECT_EQ(writer_->closeOutput(), 1);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(readFile("run.txt"), "whole\n\n");
    EXPECT_NE(log_.errors().find("ERROR: Could not write run.txt completely"), std::string::npos);
    EXPECT_NE(log_.all().find("File too large"), std::string::npos) << log_.all();
  }
}
#endif

}  // namespace
