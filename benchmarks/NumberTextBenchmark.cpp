// What the fixed text of a real number costs. First, many millions of random values are compared
// with the standard library's text: a fast routine that rounds differently is of no use.
//   to_chars/appended    at least 2: the standard library / a text appended to a string
//   to_chars/in place    at least 4: the standard library / a text put where there is room for it

#include <benchmark/benchmark.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "hostcommon/NumberText.h"
#include "hostcommon/TwoDecimals.h"

namespace {

using Random = std::mt19937_64;

/// What is not a number has no sign with us.
std::string standardText(double value) {
  if (std::isnan(value)) return "nan";
  char text[400];
  return {text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 2).ptr};
}

/// Every bit pattern, with the exponents where the rounding matters as often as all others.
double anyBits(Random& random) {
  const std::uint64_t bits = random();
  if (bits % 2 == 0) return std::bit_cast<double>(random());
  return std::ldexp(static_cast<double>(static_cast<std::int64_t>(random()) >> 11),
                    -static_cast<int>(bits / 2 % 70));
}

/// Values that lie exactly half-way between two texts, and their neighbours.
double nearTie(Random& random) {
  const double eighths =
      static_cast<double>(static_cast<std::int64_t>(random() >> (8 + random() % 50)));
  const double tie = eighths / 8;
  const std::uint64_t side = random() % 3;
  return side == 0 ? tie : std::nextafter(tie, side == 1 ? -1e300 : 1e300);
}

/// What a table holds: a number of hundredths, or a quotient.
double measured(Random& random) {
  const auto number = static_cast<double>(random() % 1000000007);
  return random() % 2 == 0 ? number / 100 : number / static_cast<double>(random() % 100000 + 1);
}

void comparedWithStandard(benchmark::State& state) {
  const auto seed = std::random_device()();
  Random random(seed);
  std::string text;
  while (state.KeepRunning()) {
    for (const double value : {anyBits(random), nearTie(random), measured(random)}) {
      text.clear();
      pwr::appendFixed(text, value, 2);
      if (text == standardText(value)) continue;
      std::fprintf(stderr, "seed %u: %a is %s, not %s\n", seed, value, standardText(value).c_str(),
                   text.c_str());
      return figures::fail(state, "a text is wrong");
    }
  }
}
BENCHMARK(comparedWithStandard)->Iterations(10'000'000);

std::vector<double> makeValues() {
  Random random(1);
  std::vector<double> values(4096);
  for (double& value : values) value = measured(random);
  return values;
}

template <typename Append>
double secondsOfTexts(const std::vector<double>& values, const Append& append) {
  return measure::secondsOf([&] {
    for (int round = 0; round < 500; ++round) {
      for (const double value : values) append(value);
    }
  });
}

void textsAgainstStandard(benchmark::State& state) {
  const std::vector<double> values = makeValues();
  std::string text;
  std::array<char, pwr::TwoDecimals::kRoom> inPlace{};
  const auto appended = [&](double value) {
    text.clear();
    pwr::appendFixed(text, value, 2);
    benchmark::DoNotOptimize(text.data());
  };
  const auto put = [&](double value) {
    pwr::TwoDecimals(value).put(inPlace.data());
    benchmark::DoNotOptimize(inPlace);
  };
  const auto standard = [&](double value) {
    std::array<char, 400> buffer;
    text.assign(
        buffer.data(),
        std::to_chars(buffer.begin(), buffer.end(), value, std::chars_format::fixed, 2).ptr);
    benchmark::DoNotOptimize(text.data());
  };
  std::vector<double> appending;
  std::vector<double> putting;
  while (state.KeepRunning()) {
    const double least = secondsOfTexts(values, standard);
    appending.push_back(least / secondsOfTexts(values, appended));
    putting.push_back(least / secondsOfTexts(values, put));
  }
  figures::atLeast(state, "to_chars/appended", measure::median(appending), 2);
  figures::atLeast(state, "to_chars/in place", measure::median(putting), 4);
}
BENCHMARK(textsAgainstStandard)->Iterations(9)->Unit(benchmark::kMillisecond);

}  // namespace
