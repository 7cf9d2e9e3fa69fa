// `tavrin inspect`: which files are one run, what it counts, and what it says of files that are not
// sound.

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"
#include "writers/continuous/BinaryWriter.h"
#include "writers/continuous/JSONWriter.h"

namespace {

class InspectTest : public testing::Test {
 protected:
  InspectTest() { std::filesystem::current_path(folder_.path()); }

  /// What the command prints of the files; the error that ended it comes last.
  static std::string inspect(std::vector<std::string> files, bool withPoints = false) {
    tavrin::Options options;
    options.files = std::move(files);
    options.points = withPoints;
    testing::internal::CaptureStdout();
    std::string error;
    try {
      tavrin::runInspect(options);
    } catch (const tavrin::CommandError& fault) {
      EXPECT_EQ(fault.status(), tavrin::kExitIncomplete);
      error = fault.what();
    }
    return testing::internal::GetCapturedStdout() + error;
  }

  /// Writes a run of one sample per file. Whole runs have one file.
  template <typename Writer>
  static void writeRun(const std::string& name, unsigned long long start, int files,
                       bool continuous = true) {
    pwr::SystemMetadata system(
        {.timestampClockFrequencyMHz = 1, .collectionStartTimestamp = start});
    Writer writer;
    EXPECT_EQ(writer.openOutput(name, continuous), 0);
    WriterDispatch::write(writer, pwr::SystemMessage(&system));
    pwr::Metric metric(description());
    for (int n = 0; n < files; ++n) {
      metric.editData() = {start + static_cast<unsigned>(n), {{pwr::Data(n), now(), nullptr, 1}}};
      EXPECT_EQ(WriterDispatch::write(writer, metric), 0);
      if (continuous) {
        EXPECT_TRUE(writer.flushContinuousResults(system));
      }
    }
    EXPECT_EQ(writer.closeOutput(), 0);
  }

  static const pwr::DataDescriptor* now() {
    static const auto* const descriptor =
        pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Now", ""));
    return descriptor;
  }
  static const pwr::MetricDescription* description() {
    static const auto* const metric =
        pwr::createMetric({.name = "M", .combinations = {{nullptr, now()}}});
    return metric;
  }

  TempFolder folder_;
  LogCapture log_;
};

/// The text with the ending of a file's name in place of each asterisk.
std::string ended(const std::string& text, const std::string& ending) {
  return std::regex_replace(text, std::regex(R"(\*)"), ending);
}

TEST_F(InspectTest, NumberedFilesAreOneRunInWhateverOrder) {
  writeRun<BinaryWriter>("run", 5, 11);
  writeRun<JSONWriter>("run", 5, 11);
  for (const std::string ending : {".ztbin", ".ztjson"}) {
    const std::string text =
        inspect({"run_0" + ending, "run_1" + ending, "run_10" + ending, "run_2" + ending,
                 "run_3" + ending, "run_4" + ending, "run_5" + ending, "run_6" + ending,
                 "run_7" + ending, "run_9" + ending, "run_8" + ending});
    EXPECT_TRUE(text.starts_with(ended("run_0* to run_10*: sound\n", ending))) << text;
    EXPECT_NE(text.find("1 metric, 11 points from 5 to 15 ticks\n"), std::string::npos) << text;
    EXPECT_NE(text.find("The collection was not over"), std::string::npos) << text;
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"run_7", "run_3", "run_2"},
         "run_7*: run_4* to run_6*, which comes before it, is not given"},
        {{"run_1", "run_3", "run_0"}, "run_3*: run_2*, which comes before it, is not given"},
        {{"run_0", "run_1", "run_0"}, "run_0* is given twice"},
    };
    for (auto [files, fault] : cases) {
      const bool lacksFirst = ending == ".ztbin" && files.back() == "run_2";
      for (std::string& file : files) file += ending;
      if (lacksFirst) {
        fault =
            "run_2.ztbin: builds on the files of its run before it, but run_1.ztbin is not given";
      }
      EXPECT_EQ(inspect(files), ended(fault, ending));
    }
  }
  EXPECT_TRUE(inspect({"run_4.ztjson"}).starts_with("run_4.ztjson: sound\n"));
}

TEST_F(InspectTest, RunsAreKeptApart) {
  // A run leaves two files, another of the same name one, as if it had been killed.
  writeRun<BinaryWriter>("old", 5, 3);
  writeRun<BinaryWriter>("run", 9, 1);
  std::filesystem::rename("run_3.ztbin", "run_0.ztbin");
  std::filesystem::rename("old_1.ztbin", "run_1.ztbin");
  EXPECT_EQ(inspect({"run_0.ztbin", "run_1.ztbin"}),
            "run_1.ztbin: offset 3: expected the collection start of the files before, 9, found 5, "
            "of another run");
  writeRun<JSONWriter>("run", 5, 1);
  writeRun<JSONWriter>("run", 9, 1);
  EXPECT_EQ(
      inspect({"run_0.ztjson", "run_1.ztjson"}),
      "run_1.ztjson: /Metadata/0/Tavrin/Collection Start Timestamp: expected \"5\", the start "
      "of the collection in the files before, found \"9\"");
  // Whole runs may be called like that too.
  writeRun<BinaryWriter>("sweep_1", 5, 1, false);
  writeRun<BinaryWriter>("sweep_2", 9, 1, false);
  writeRun<JSONWriter>("sweep_1", 5, 1, false);
  writeRun<JSONWriter>("sweep_2", 9, 1, false);
  const std::string text =
      inspect({"sweep_1.ztbin", "sweep_2.ztbin", "sweep_1.ztjson", "sweep_2.ztjson"});
  for (const char* file : {"sweep_1.ztbin", "sweep_2.ztbin", "sweep_1.ztjson", "sweep_2.ztjson"}) {
    EXPECT_NE(text.find(file + std::string(": sound\n")), std::string::npos) << text;
  }
}

TEST_F(InspectTest, CountsWhatThereIsAndSaysWhatCannotBeKnown) {
  const auto* const a = pwr::createEntity({.name = "A"});
  const auto* const b = pwr::createEntity({.name = "B"});
  const auto* const metric = pwr::createMetric(
      {.name = "Room", .combinations = {{a, now()}, {b, now()}, {nullptr, now()}}});
  const auto* const other = pwr::createMetric({.name = "Other"});
  pwr::SystemMetadata system({.collectionStopTimestamp = 95});
  BinaryWriter binary;
  JSONWriter json;
  for (WriterPlugin* const writer : std::initializer_list<WriterPlugin*>{&binary, &json}) {
    EXPECT_EQ(writer->openOutput("run", false), 0);
    WriterDispatch::write(*writer, pwr::SystemMessage(&system));
    // The series with the earliest and the latest time is neither the first nor the last.
    for (const auto& [entity, description, time] : {std::tuple{a, metric, 30ULL},
                                                    {b, metric, 20ULL},
                                                    {b, metric, 90ULL},
                                                    {a, metric, 40ULL},
                                                    {nullptr, other, 10ULL},
                                                    {nullptr, other, 50ULL}}) {
      pwr::Metric sample(description);
      sample.editData() = {time, {{pwr::Data(time), now(), entity, 0}}};
      WriterDispatch::write(*writer, sample);
    }
    EXPECT_EQ(writer->closeOutput(), 0);
  }
  const std::string text = inspect({"run.ztbin", "run.ztjson"});
  for (const char* line :
       {"\n2 metrics, 6 points from 10 to 90 ticks\n",
        ("\n  Room (SAMPLED_VALUE): 4 points from 20 to 90 ticks\n"
         "    without a point: 1 of 3 series described\n"),
        "\n    Room/B: Now 2\n", "\n  Other (SAMPLED_VALUE): 2 points from 10 to 50 ticks\n",
        "\nThe collection stopped 5 ticks after the start of the last point.\n",
        "\nPoints are not counted in the files: those cut off at an end are not missed.\n",
        "\n2 metrics, 6 points from 10 to 90 us\n",
        "\n  Room (SAMPLED_VALUE): 4 points from 20 to 90 us\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << text;
  }
  EXPECT_EQ(inspect({"run.ztbin"}, true).substr(0, 68),
            "time\tduration\tmetric\tseries\tname\tvalue\n30\t0\tRoom\tRoom/A\tNow\t30\n20\t0\t");
}

TEST_F(InspectTest, FilesThatCannotBeRead) {
  const std::string nested(100000, '[');
  folder_.write("empty.ztbin", "");
  folder_.write("empty.ztjson", "");
  folder_.write("deep.ztjson", nested);
  folder_.write("zeros.ztjson", std::string("{}\0 ", 4));
  folder_.write("long.ztjson", "{\"fileType\":\"" + std::string(1000, 'x') + "\"}");
  std::filesystem::create_directory("folder.ztbin");
  const std::pair<const char*, std::string> cases[] = {
      {"none.ztbin", "cannot read none.ztbin: No such file or directory"},
      {"none_1.ztjson", "cannot read none_1.ztjson: No such file or directory"},
      {"folder.ztbin", "cannot read folder.ztbin: it is a folder"},
      {"empty.ztbin", "empty.ztbin: offset 0: expected a system record, found the end of the file"},
      {"empty.ztjson",
       "empty.ztjson: offset 0: expected a JSON document, found a fault: The document is empty."},
      {"deep.ztjson",
       "deep.ztjson: offset 17: expected at most 16 objects and arrays within each other, found "
       "one "
       "more"},
      {"zeros.ztjson", "zeros.ztjson: offset 2: expected the end of the file, found a NUL byte"},
      {"long.ztjson",
       "long.ztjson: /fileType: expected \"tavrin\", found \"" + std::string(80, 'x') + "\"..."},
  };
  for (const auto& [file, fault] : cases) EXPECT_EQ(inspect({file}), fault);
}

}  // namespace
