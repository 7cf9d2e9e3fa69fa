// Which plugin libraries the command finds and loads, and which of their writers are chosen.

#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"
#include "tavrin/HostSetup.h"
#include "tavrin/PluginLibraries.h"
#include "tavrin/Session.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/platform/DynamicLibrary.h"

using namespace tavrin;  // NOLINT: the tests are about this namespace

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

const Names kOwnNames = {"sum", "korvell", "json", "bin", "raw", "int", "phm-csv", "auto"};

/// The file name of a plugin library.
std::string pluginName(const std::string& name) {
  return std::string(kPluginStart).append(name).append(kPluginEnd);
}

Names namesOf(const std::vector<WriterPlugin*>& writers) {
  Names names;
  for (const WriterPlugin* writer : writers) names.push_back(PluginLibrary::nameOf(*writer));
  return names;
}

/// The texts that a call throws and logs; its exit status.
struct Refusal {
  std::string text;
  int status = kExitDone;
};

template <typename Call>
Refusal refusalOf(Call call) {
  try {
    call();
  } catch (const CommandError& error) {
    return {error.what(), error.status()};
  }
  return {};
}

class PluginLibrariesTest : public testing::Test {
 protected:
  /// Puts a copy of the library with the writer "probe" into the folder.
  std::string putProbe(const std::string& file) const {
    fs::copy_file(pwr::pathFromUtf8(PW_PROBE_LIBRARY), pwr::pathFromUtf8(folder_.path(file)));
    return folder_.path(file);
  }
  std::vector<fs::path> folders() const { return {pwr::pathFromUtf8(folder_.path())}; }

  const TempFolder folder_;
  const LogCapture log_;
};

TEST_F(PluginLibrariesTest, ALibraryThatIsDroppedIntoTheFolderIsLoaded) {
  putProbe(pluginName("third"));
  putProbe("unnamed.so");
  fs::copy_file(PW_READER_LIBRARY, folder_.path(pluginName("another_kind")));
  fs::create_directory(folder_.path(pluginName("folder")));
  folder_.write(pluginName("damaged"), "no library");
  const PluginLibraries plugins({PW_PLUGIN_LIBRARY}, folders());
  Names every = kOwnNames;
  every.emplace_back("probe");
  EXPECT_EQ(namesOf(plugins.writers()), every);
  EXPECT_EQ(log_.general().find("tavrin: warning: cannot load the plugin library " +
                                folder_.path(pluginName("damaged")) + ": "),
            0U)
      << log_.general();
  EXPECT_EQ(log_.general().find('\n'), log_.general().size() - 1) << log_.general();
}

TEST_F(PluginLibrariesTest, WritersAreChosenByNameOrTogether) {
  const PluginLibraries plugins({PW_PROBE_LIBRARY, PW_PLUGIN_LIBRARY}, folders());
  Names every = kOwnNames;
  every.emplace_back("probe");
  const std::pair<Names, Names> cases[] = {
      {{"all"}, kOwnNames},
      {{"every"}, every},
      {{"probe", "all", "sum"}, every},
      {{"probe", "bin"}, {"bin", "probe"}},
      {{"sum"}, {"sum"}},
  };
  for (const auto& [asked, wanted] : cases) EXPECT_EQ(namesOf(plugins.select(asked)), wanted);
  const Refusal refusal = refusalOf([&] { plugins.select({"sum", "nonsense"}); });
  EXPECT_EQ(refusal.status, kExitUsage);
  EXPECT_EQ(refusal.text,
            "unknown writer 'nonsense'; known are: sum, korvell, json, bin, raw, int, phm-csv, "
            "auto, probe, all, every");
}

TEST_F(PluginLibrariesTest, ANamedOneTakesThePlaceOfThatWithItsFileName) {
  folder_.write(kPluginLibraryName, "no library");
  const PluginLibraries plugins({PW_PLUGIN_LIBRARY}, folders());
  EXPECT_EQ(namesOf(plugins.writers()), kOwnNames);
  EXPECT_EQ(log_.general(), "");
  // The first folder counts, too.
  const TempFolder other;
  fs::copy_file(PW_PROBE_LIBRARY, other.path(kPluginLibraryName));
  const PluginLibraries replaced(
      {}, {pwr::pathFromUtf8(other.path()), pwr::pathFromUtf8(folder_.path())});
  EXPECT_EQ(namesOf(replaced.select({"all"})), Names{"probe"});
}

TEST_F(PluginLibrariesTest, WhatCannotBeIsToldWithItsLibraries) {
  const std::string first = putProbe(pluginName("first"));
  const std::string second = putProbe(pluginName("second"));
  folder_.write("damaged", "no library");
  const auto loading = [&](const Names& named) {
    return refusalOf([&] { const PluginLibraries plugins(named, folders()); });
  };
  const Refusal twins = loading({PW_PLUGIN_LIBRARY});
  EXPECT_EQ(twins.status, kExitUsage);
  EXPECT_EQ(twins.text, "two writers have the name 'probe': one of " +
                            pwr::utf8FromPath(fs::path(first)) + ", one of " +
                            pwr::utf8FromPath(fs::path(second)));
  const std::pair<Names, std::string> cases[] = {
      {{}, "cannot find the plugin library " + std::string(kPluginLibraryName) + " in "},
      {{PW_PLUGIN_LIBRARY, "/no/such/library"}, "cannot load the plugin library /no/such/library"},
      {{PW_PLUGIN_LIBRARY, folder_.path("damaged")}, "cannot load the plugin library "},
      {{PW_PLUGIN_LIBRARY, "libm.so.6"}, "cannot load the plugin library libm.so.6: "},
      {{PW_PLUGIN_LIBRARY, PW_HOST_LIBRARY}, PW_HOST_LIBRARY " is not a plugin library: "},
  };
  for (const auto& [named, text] : cases) {
    const Refusal refusal = loading(named);
    EXPECT_EQ(refusal.status, kExitIncomplete);
    EXPECT_EQ(refusal.text.find(text), 0U) << refusal.text;
  }
  fs::remove(second);
  folder_.write(kPluginLibraryName, "no library");
  EXPECT_EQ(loading({}).status, kExitIncomplete) << "the tool's own is needed";
}

TEST_F(PluginLibrariesTest, WritersAreOfferedTheirOptions) {
  const PluginLibraries plugins({PW_PLUGIN_LIBRARY, PW_PROBE_LIBRARY}, {});
  Options options;
  EXPECT_EQ(writerOptions(options), Names{});
  options.pageSize = 500'000;
  Session session(plugins.select({"probe"}), writerOptions(options));
  session.open(folder_.path("run"), false);
  EXPECT_EQ(session.finish(), Names{});
  EXPECT_EQ(readFile(folder_.path("run.probe")), "--page-size=500000\n");
}

}  // namespace
