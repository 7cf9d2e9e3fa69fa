#include <gtest/gtest.h>

#include "tavrin/common/Glob.h"

namespace tavrin {
namespace {

TEST(Glob, MatchesTheWholeText) {
  struct Case {
    const char* pattern;
    const char* text;
    bool matches;
  };
  const Case cases[] = {
      {"", "", true},
      {"", "a", false},
      {"a", "", false},
      {"*", "", true},
      {"*", "a.b", true},
      {"**", "ab", true},
      {"?", "", false},
      {"?", "a", true},
      {"a?c", "abc", true},
      {"a?c", "ac", false},
      {"sched_*", "sched_switch", true},
      {"sched_*", "sched", false},
      {"*_load_*", "a_load_b_load_c", true},
      {"*ab", "aab", true},
      {"*ab", "abb", false},
      {"a*b*c", "a-b-b-c", true},
      {"a*b*c", "a-c-b", false},
      {"[a]", "a", false},
      {"CPU Power", "CPU Power", true},
      {"CPU", "CPU Power", false},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(matchesGlob(each.pattern, each.text), each.matches)
        << each.pattern << " " << each.text;
  }
  EXPECT_TRUE(matchesAnyGlob({"x", "a*"}, "ab"));
  EXPECT_FALSE(matchesAnyGlob({"x", "b*"}, "ab"));
  EXPECT_FALSE(matchesAnyGlob({}, ""));
}

TEST(Glob, ManyStarsTakeNoLongTime) {
  std::string pattern;
  for (int i = 0; i < 1000; ++i) pattern += "*a";
  EXPECT_FALSE(matchesGlob(pattern + "b", std::string(20000, 'a')));
}

}  // namespace
}  // namespace tavrin
