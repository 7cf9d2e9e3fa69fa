// The session that drives the writers and the library that they come from.

#include <gtest/gtest.h>

#include <cmath>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "tavrin/PluginLibrary.h"
#include "tavrin/Session.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/PlainText.h"

using namespace tavrin;  // NOLINT: the tests are about this namespace
using pwr::Data;

namespace {

TEST(Session, LeavesOutWhatIsNotFinite) {
  const LogCapture log;
  Session session({});
  pwr::Metric metric(pwr::createMetric({.name = "Volts"}));
  for (int i = 0; i < 2; ++i) {
    metric.editData().elements = {{Data(std::nan("")), nullptr, nullptr, 0},
                                  {Data(1.0), nullptr, nullptr, 0},
                                  {Data(Data::RealPair(0, HUGE_VAL)), nullptr, nullptr, 0}};
    session.metric(metric);
    EXPECT_EQ(metric.getData().elements.size(), 1U);
  }
  EXPECT_EQ(
      log.general(),
      "tavrin: warning: a value of metric 'Volts' is not finite and is left out; further ones "
      "are left out silently\n");
}

TEST(PluginLibrary, IsLoadedAndChecked) {
  const PluginLibrary library(PW_PLUGIN_LIBRARY);
  EXPECT_EQ(library.select({"all"}).size(), library.writers().size());
  EXPECT_EQ(library.select({"sum"}).front(), library.writers().front());
  try {
    library.select({"sum", "nonsense"});
    FAIL() << "an unknown name must be refused";
  } catch (const CommandError& error) {
    EXPECT_EQ(error.status(), kExitUsage);
    EXPECT_EQ(std::string(error.what()).find("unknown writer 'nonsense'; known are: sum, "), 0U);
  }
  EXPECT_THROW(PluginLibrary("/no/such/library.so"), CommandError);
  EXPECT_THROW(PluginLibrary("libm.so.6"), CommandError) << "only a path leads to a library";
  try {
    const PluginLibrary other(PW_HOST_LIBRARY);
    FAIL() << "a library without the entry points must be refused";
  } catch (const CommandError& error) {
    EXPECT_NE(std::string(error.what()).find(" is not a plugin library: "), std::string::npos);
  }
}

TEST(PlainText, WhatCouldSteerATerminalIsEscaped) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain \\ 'text' \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", ""},
      {"\x1B[31m\n\x7F", "\\x1b[31m\\x0a\\x7f"},
      {"\xC2\x9B\xC2\xA0", "\\xc2\\x9b\xC2\xA0"},
      {"\xFF\xC3(\xE2\x82", "\\xff\\xc3(\\xe2\\x82"},
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80", "\\xc0\\x80\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80"},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(escaped(text), shown.empty() ? text : shown);
}

TEST(PlainText, AShellTakesALineApartAsItWas) {
  EXPECT_EQ(shellLine({"record", "--", "sh", "-c", "echo $HOME; it's", ""}),
            R"(record -- sh -c 'echo $HOME; it'\''s' '')");
  EXPECT_EQ(shellLine({"-o", "a\nb'\xFF\\"}), R"(-o $'a\x0ab\'\xff\\')");
}

}  // namespace
