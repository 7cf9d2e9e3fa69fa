#include "benchmarks/Figures.h"

#include <cstdio>
#include <vector>

namespace figures {

namespace {

struct Figure {
  std::string name;
  double value;
  const char* relation;
  double bound;
  bool isKept;
};

std::vector<Figure> g_figures;
bool g_hasFailed = false;

void note(benchmark::State& state, const Figure& figure) {
  state.counters[figure.name] = figure.value;
  g_figures.push_back(figure);
}

/// Returns the exit status.
int report() {
  bool isSound = !g_hasFailed && !g_figures.empty();
  for (const Figure& figure : g_figures) {
    std::printf("%-44s %9.3f  %s %g%s\n", figure.name.c_str(), figure.value, figure.relation,
                figure.bound, figure.isKept ? "" : "  MISSED");
    isSound = isSound && figure.isKept;
  }
  return isSound ? 0 : 1;
}

}  // namespace

void atMost(benchmark::State& state, const std::string& name, double figure, double bound) {
  note(state, {name, figure, "at most", bound, figure <= bound});
}

void atLeast(benchmark::State& state, const std::string& name, double figure, double bound) {
  note(state, {name, figure, "at least", bound, figure >= bound});
}

void fail(benchmark::State& state, const std::string& cause) {
  g_hasFailed = true;
  state.SkipWithError(cause.c_str());
}

}  // namespace figures

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  return figures::report();
}
