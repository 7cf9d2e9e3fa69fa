#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "hostcommon/NumberText.h"
#include "hostcommon/TwoDecimals.h"
#include "tests/TestSupport.h"

namespace {

std::string fixed(double value, int decimals = 2) {
  std::string text = "=";
  pwr::appendFixed(text, value, decimals);
  return text;
}

std::string standard(double value, int decimals = 2) {
  char text[1000];
  const double printed = std::isnan(value) ? std::abs(value) : value;  // no sign
  const auto end =
      std::to_chars(text, text + sizeof text, printed, std::chars_format::fixed, decimals);
  return "=" + std::string(text, end.ptr);
}

TEST(NumberTextTest, KnownTexts) {
  using Limits = std::numeric_limits<double>;
  const double huge = Limits::max();
  const struct {
    double value;
    const char* text;
  } known[] = {
      {0.0, "=0.00"},
      {-0.0, "=-0.00"},
      {0.125, "=0.12"},
      {0.375, "=0.38"},
      {-0.125, "=-0.12"},
      {-0.001, "=-0.00"},
      {0.995, "=0.99"},
      {1.005, "=1.00"},
      {2.675, "=2.67"},
      {9.995, "=9.99"},
      {99.996, "=100.00"},
      {1234567.0, "=1234567.00"},
      {5e-324, "=0.00"},
      {Limits::infinity(), "=inf"},
      {-Limits::infinity(), "=-inf"},
      {Limits::quiet_NaN(), "=nan"},
      {-Limits::quiet_NaN(), "=nan"},
      {0x1p52, "=4503599627370496.00"},
      {0x1p53 + 2, "=9007199254740994.00"},
  };
  for (const auto& [value, text] : known) EXPECT_EQ(fixed(value), text);
  for (const int decimals : {0, 1, 3, 17, 400}) {
    for (const double value : {huge, -huge, 0.5, 1234.56789, -1e-9, 99.99999}) {
      EXPECT_EQ(fixed(value, decimals), standard(value, decimals));
    }
  }
}

TEST(NumberTextTest, TwoDecimalsAreTheStandardOnes) {
  std::mt19937_64 random(testSeed());
  for (int n = 0; n < 250000; ++n) {
    // An odd number of eighths or fortieths is half-way between two texts, or just beside it.
    const auto whole = static_cast<double>(random() >> (11 + random() % 50));
    const double tie = whole / (n % 2 == 0 ? 8 : 40);
    const double edge = std::ldexp(1.0, static_cast<int>(random() % 70));
    for (const double value :
         {std::bit_cast<double>(random()), -tie, std::nextafter(tie, 0), std::nextafter(edge, 0),
          edge + static_cast<double>(random() % 1000) / 200}) {
      ASSERT_EQ(fixed(value), standard(value)) << std::hexfloat << value;
    }
  }
}

// A number keeps what it knows of its first digits: numbers in all orders, from one digit to more
// than are covered.
TEST(NumberTextTest, NumbersAfterOneAnother) {
  std::mt19937_64 random(testSeed());
  pwr::TwoDecimals number;
  EXPECT_FALSE(number.isCovered());
  double value = 0.0;
  for (int n = 0; n < 300000; ++n) {
    value += std::ldexp(static_cast<double>(random() % 2000) - 700, static_cast<int>(random() % 8));
    if (random() % 16 == 0) value = std::ldexp(1.0, static_cast<int>(random() % 51)) * -1.1;
    number.set(value);
    ASSERT_EQ(number.isCovered(), std::abs(value) < 1e14) << value;
    if (!number.isCovered()) continue;
    std::array<char, pwr::TwoDecimals::kRoom> text{};
    ASSERT_EQ("=" + std::string(text.data(), number.put(text.data())), standard(value));
  }
}

}  // namespace
