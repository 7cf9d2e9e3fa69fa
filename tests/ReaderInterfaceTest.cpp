// The C interface of the readers, called as no well-behaved program would.

#include <gtest/gtest.h>

#include <cstring>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "readers/tavrin_reader.h"
#include "writers/continuous/BinaryWriter.h"

namespace {

/// A file of a few points, open.
class ReaderInterfaceTest : public testing::Test {
 protected:
  ReaderInterfaceTest() {
    const auto* const now = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Now", ""));
    const auto* const description =
        pwr::createMetric({.name = "M", .combinations = {{nullptr, now}}});
    pwr::SystemMetadata system({.hostName = "lab", .timestampClockFrequencyMHz = 1});
    BinaryWriter writer;
    EXPECT_EQ(writer.openOutput(folder_.path("run"), false), 0);
    WriterDispatch::write(writer, pwr::SystemMessage(&system));
    pwr::Metric metric(description);
    for (unsigned n = 0; n < 10; ++n) {
      metric.editData() = {n, {{pwr::Data(0.5 * n), now, nullptr, 1}}};
      WriterDispatch::write(writer, metric);
    }
    EXPECT_EQ(writer.closeOutput(), 0);
    const std::string whole = readFile(folder_.path("run.ztbin"));
    folder_.write("cut.ztbin", whole.substr(0, whole.size() - 1));
  }
  ~ReaderInterfaceTest() override { tavrin_close(reader_); }

  tavrin_status open(const std::string& name) {
    const std::string path = folder_.path(name);
    const char* const file = path.c_str();
    return tavrin_open(&file, 1, &reader_);
  }

  TempFolder folder_;
  LogCapture log_;
  tavrin_reader* reader_ = nullptr;
};

TEST_F(ReaderInterfaceTest, MisuseIsAStatus) {
  EXPECT_EQ(tavrin_reader_version(), TAVRIN_READER_VERSION);
  const char* const none = nullptr;
  EXPECT_EQ(tavrin_open(&none, 1, &reader_), TAVRIN_MISUSE);
  EXPECT_EQ(tavrin_open(nullptr, 1, &reader_), TAVRIN_MISUSE);
  EXPECT_EQ(reader_, nullptr);
  ASSERT_EQ(open("run.ztbin"), TAVRIN_OK);
  tavrin_metric metric;
  tavrin_text text;
  tavrin_series series;
  size_t count = 0;
  const tavrin_status statuses[] = {
      tavrin_next(reader_, nullptr),
      tavrin_next(nullptr, nullptr),
      tavrin_read_block(reader_, 0, nullptr),
      tavrin_get_metric(reader_, 1, &metric),
      tavrin_get_metric(reader_, 0, nullptr),
      tavrin_get_state(reader_, 0, 0, &text),
      tavrin_get_text(reader_, 0, &text),
      tavrin_get_series(nullptr, 0, &series),
      tavrin_get_fact(reader_, 0, &text, &text),
      tavrin_gather_facts(reader_, nullptr),
  };
  for (const tavrin_status status : statuses) EXPECT_EQ(status, TAVRIN_MISUSE);
  EXPECT_EQ(tavrin_metric_count(nullptr), 0U);
  EXPECT_EQ(tavrin_gather_facts(reader_, &count), TAVRIN_OK);
  EXPECT_GT(count, 10U);
  EXPECT_EQ(tavrin_get_fact(reader_, 5, &text, &text), TAVRIN_OK);
  EXPECT_EQ(std::string(text.data, text.length), "lab");
}

TEST_F(ReaderInterfaceTest, WhatCannotBeOpenedTellsWhy) {
  EXPECT_EQ(open("none"), TAVRIN_FAULT);
  EXPECT_TRUE(std::strstr(tavrin_error(reader_), "cannot read ") != nullptr);
  tavrin_point point;
  tavrin_clock clock;
  EXPECT_EQ(tavrin_next(reader_, &point), TAVRIN_FAULT);
  EXPECT_EQ(tavrin_get_clock(reader_, &clock), TAVRIN_MISUSE);
  EXPECT_EQ(tavrin_series_count(reader_), 0U);
}

TEST_F(ReaderInterfaceTest, BlocksOutliveTheReaderAndAFaultComesBehindThem) {
  ASSERT_EQ(open("cut.ztbin"), TAVRIN_OK);
  tavrin_block* first = nullptr;
  tavrin_block* rest = nullptr;
  tavrin_block* nothing = nullptr;
  ASSERT_EQ(tavrin_read_block(reader_, 4, &first), TAVRIN_OK);
  ASSERT_EQ(tavrin_read_block(reader_, 0, &rest), TAVRIN_OK);
  EXPECT_EQ(tavrin_read_block(reader_, 0, &nothing), TAVRIN_FAULT);
  EXPECT_EQ(tavrin_read_block(reader_, 0, &nothing), TAVRIN_FAULT);
  EXPECT_EQ(nothing, nullptr);
  EXPECT_TRUE(std::strstr(tavrin_error(reader_), "cut.ztbin: offset ") != nullptr);
  tavrin_close(reader_);
  reader_ = nullptr;
  ASSERT_EQ(tavrin_block_size(first), 4U);
  ASSERT_EQ(tavrin_block_size(rest), 5U);
  EXPECT_EQ(tavrin_block_times(rest)[4], 8U);
  EXPECT_EQ(tavrin_block_values(rest)[4], 4.0);
  EXPECT_EQ(tavrin_block_durations(first)[3], 1.0);
  EXPECT_EQ(tavrin_block_series(first)[3], 0U);
  EXPECT_EQ(tavrin_block_texts(first)[3], TAVRIN_NONE);
  tavrin_block_free(first);
  tavrin_block_free(rest);
}

}  // namespace
