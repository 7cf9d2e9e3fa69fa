// What the fixed text of a real number costs. Before anything is timed, many millions of random
// values are compared with the standard library's text: a fast routine that rounds differently is
// of no use.

#include <benchmark/benchmark.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "hostcommon/NumberText.h"
#include "hostcommon/TwoDecimals.h"

namespace {

using Random = std::mt19937_64;

std::string standardText(double value) {
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

void checkAgainstStandard() {
  const auto seed = std::random_device()();
  constexpr int kValuesOfEachKind = 10000000;
  std::fprintf(stderr, "comparing 3 x %d values, seed %u\n", kValuesOfEachKind, seed);
  Random random(seed);
  std::string text;
  for (int n = 0; n < kValuesOfEachKind; ++n) {
    for (const double value : {anyBits(random), nearTie(random), measured(random)}) {
      text.clear();
      pwr::appendFixed(text, value, 2);
      if (text == standardText(value)) continue;
      std::fprintf(stderr, "WRONG: %a is %s, not %s\n", value, standardText(value).c_str(),
                   text.c_str());
      std::exit(1);
    }
  }
}

std::vector<double> makeValues() {
  Random random(1);
  std::vector<double> values(4096);
  for (double& value : values) value = measured(random);
  return values;
}

template <typename Append>
void timeText(benchmark::State& state, const Append& append) {
  const std::vector<double> values = makeValues();
  std::string text;
  text.reserve(1000);
  std::size_t n = 0;
  while (state.KeepRunning()) {
    text.clear();
    append(text, values[n++ % values.size()]);
    benchmark::DoNotOptimize(text.data());
  }
}

void twoDecimalsInPlace(benchmark::State& state) {
  const std::vector<double> values = makeValues();
  std::array<char, pwr::TwoDecimals::kRoom> text{};
  std::size_t n = 0;
  while (state.KeepRunning()) {
    pwr::TwoDecimals(values[n++ % values.size()]).put(text.data());
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(twoDecimalsInPlace);

void twoDecimals(benchmark::State& state) {
  timeText(state, [](std::string& text, double value) { pwr::appendFixed(text, value, 2); });
}
BENCHMARK(twoDecimals);

void threeDecimals(benchmark::State& state) {
  timeText(state, [](std::string& text, double value) { pwr::appendFixed(text, value, 3); });
}
BENCHMARK(threeDecimals);

void standardToChars(benchmark::State& state) {
  timeText(state, [](std::string& text, double value) {
    char buffer[400];
    text.append(
        buffer,
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 2).ptr);
  });
}
BENCHMARK(standardToChars);

}  // namespace

int main(int argc, char** argv) {
  checkAgainstStandard();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
