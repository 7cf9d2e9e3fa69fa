// Which plugin libraries the command finds and loads, and which of their writers are chosen.

#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"
#include "hostcommon/session/DynamicLibrary.h"
#include "hostcommon/session/HostError.h"
#include "hostcommon/session/PluginLibraries.h"
#include "hostcommon/session/Session.h"
#include "tavrin/HostSetup.h"

using namespace tavrin;  // NOLINT: the tests are about this namespace

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

const Names kOwnNames = {"sum", "korvell", "json", "bin", "raw", "int", "phm-csv", "auto"};

/// The file name of a plugin library.
std::string pluginName(const std::string& name) {
  return std::string(pwr::kPluginStart).append(name).append(pwr::kPluginEnd);
}

Names namesOf(const std::vector<WriterPlugin*>& writers) {
  Names names;
  for (const WriterPlugin* writer : writers) names.push_back(pwr::PluginLibrary::nameOf(*writer));
  return names;
}

/// What a call throws.
struct Refusal {
  std::string text;
  pwr::HostError::Cause cause = pwr::HostError::Cause::Failure;
};

template <typename Call>
Refusal refusalOf(Call call) {
  try {
    call();
  } catch (const pwr::HostError& error) {
    return {error.what(), error.cause()};
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
  const pwr::PluginLibraries plugins({PW_PLUGIN_LIBRARY}, folders());
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
  const pwr::PluginLibraries plugins({PW_PROBE_LIBRARY, PW_PLUGIN_LIBRARY}, folders());
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
  EXPECT_EQ(refusal.cause, pwr::HostError::Cause::Request);
  EXPECT_EQ(refusal.text,
            "unknown writer 'nonsense'; known are: sum, korvell, json, bin, raw, int, phm-csv, "
            "auto, probe, all, every");
}

TEST_F(PluginLibrariesTest, ANamedOneTakesThePlaceOfThatWithItsFileName) {
  folder_.write(pwr::kPluginLibraryName, "no library");
  const pwr::PluginLibraries plugins({PW_PLUGIN_LIBRARY}, folders());
  EXPECT_EQ(namesOf(plugins.writers()), kOwnNames);
  EXPECT_EQ(log_.general(), "");
  // The first folder counts, too.
  const TempFolder other;
  fs::copy_file(PW_PROBE_LIBRARY, other.path(pwr::kPluginLibraryName));
  const pwr::PluginLibraries replaced(
      {}, {pwr::pathFromUtf8(other.path()), pwr::pathFromUtf8(folder_.path())});
  EXPECT_EQ(namesOf(replaced.select({"all"})), Names{"probe"});
}

TEST_F(PluginLibrariesTest, WhatCannotBeIsToldWithItsLibraries) {
  const std::string first = putProbe(pluginName("first"));
  const std::string second = putProbe(pluginName("second"));
  folder_.write("damaged", "no library");
  const auto loading = [&](const Names& named) {
    return refusalOf([&] { const pwr::PluginLibraries plugins(named, folders()); });
  };
  const Refusal twins = loading({PW_PLUGIN_LIBRARY});
  EXPECT_EQ(twins.cause, pwr::HostError::Cause::Request);
  EXPECT_EQ(twins.text, "two writers have the name 'probe': one of " +
                            pwr::utf8FromPath(fs::path(first)) + ", one of " +
                            pwr::utf8FromPath(fs::path(second)));
  const std::pair<Names, std::string> cases[] = {
      {{}, "cannot find the plugin library " + std::string(pwr::kPluginLibraryName) + " in "},
      {{PW_PLUGIN_LIBRARY, "/no/such/library"}, "cannot load the plugin library /no/such/library"},
      {{PW_PLUGIN_LIBRARY, folder_.path("damaged")}, "cannot load the plugin library "},
      {{PW_PLUGIN_LIBRARY, "libm.so.6"}, "cannot load the plugin library libm.so.6: "},
      {{PW_PLUGIN_LIBRARY, PW_HOST_LIBRARY}, PW_HOST_LIBRARY " is not a plugin library: "},
  };
  for (const auto& [named, text] : cases) {
    const Refusal refusal = loading(named);
    EXPECT_EQ(refusal.cause, pwr::HostError::Cause::Failure);
    EXPECT_EQ(refusal.text.find(text), 0U) << refusal.text;
  }
  fs::remove(second);
  folder_.write(pwr::kPluginLibraryName, "no library");
  EXPECT_EQ(loading({}).cause, pwr::HostError::Cause::Failure) << "the tool's own is needed";
}

TEST_F(PluginLibrariesTest, WritersAreOfferedTheirOptions) {
  const pwr::PluginLibraries plugins({PW_PLUGIN_LIBRARY, PW_PROBE_LIBRARY}, {});
  Options options;
  EXPECT_EQ(writerOptions(options), Names{});
  options.pageSize = 500'000;
  pwr::Session session(plugins.select({"probe"}), writerOptions(options));
  session.open(folder_.path("run"), false);
  EXPECT_EQ(session.finish(), Names{});
  EXPECT_EQ(readFile(folder_.path("run.probe")), "--page-size=500000\n");
}

}  // namespace
