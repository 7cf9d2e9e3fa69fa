#include <cstdio>
#include <memory>
#include <optional>

#include "tavrin/Commands.h"
#include "tavrin/HostSetup.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/compare/CompareReport.h"
#include "tavrin/import/Recognition.h"
#include "tavrin/platform/Interrupt.h"

namespace tavrin {

namespace {

/// The files of both sides: those before and behind "--", or two.
std::pair<std::vector<std::string>, std::vector<std::string>> sidesOf(const Options& options) {
  if (!options.command.empty() && !options.files.empty()) return {options.files, options.command};
  if (options.command.empty() && options.files.size() == 2) {
    return {{options.files[0]}, {options.files[1]}};
  }
  throw CommandError(kExitUsage,
                     "compare takes two files, or the files of one side, --, and those of the "
                     "other");
}

/// Throws CommandError when the file cannot be read to its end.
ComparedRun readRun(const std::string& path, const Options& options, StopRequest& stop) {
  const std::unique_ptr<PeekedSource> input = openInput(path, &stop);
  RunFigures figures;
  const std::unique_ptr<Import> import = openImport(*input, figures, options.import);
  std::string error;
  import->replay(error);
  if (!error.empty()) throw CommandError(kExitIncomplete, error);
  for (const std::string& warning : import->warnings()) warn(warning);
  if (stop.isRequested()) {
    throw CommandError(kExitIncomplete, path + ": stopped by a signal before its end");
  }
  return figures.take();
}

std::vector<ComparedRun> readRuns(const std::vector<std::string>& paths, const Options& options,
                                  StopRequest& stop) {
  std::vector<ComparedRun> files;
  files.reserve(paths.size());
  for (const std::string& path : paths) files.push_back(readRun(path, options, stop));
  return mergeFilesOfRuns(std::move(files));
}

std::string lineOfChange(const FigureKey& key, const std::string& bound) {
  std::string line = key.metric;
  if (!key.entity.empty()) line += ", " + key.entity;
  if (!key.descriptor.empty()) line += ", " + key.descriptor;
  return line + ": its " + nameOf(key.form) + " changed by more than " + bound;
}

/// The exit status by what changed too much, of which the user is told.
int judge(const std::vector<ComparedFigure>& figures, const ChangeBound& bound,
          const std::string& text) {
  constexpr std::size_t kMostNamed = 10;
  std::size_t passed = 0;
  for (const ComparedFigure& figure : figures) {
    if (!bound.isPassedBy(figure) || ++passed > kMostNamed) continue;
    fail(lineOfChange(figure.key, text));
  }
  if (passed > kMostNamed) fail(std::to_string(passed - kMostNamed) + " more did so");
  return passed == 0 ? kExitDone : kExitChanged;
}

}  // namespace

int runCompare(const Options& options) {
  setUpHost(options);
  const auto [pathsBefore, pathsAfter] = sidesOf(options);
  const std::optional<ChangeBound> bound = ChangeBound::parse(options.failAbove);
  if (!options.failAbove.empty() && !bound) {
    throw CommandError(kExitUsage, "--fail-above " + options.failAbove +
                                       " is not a change such as +5% (more), -5% (less) or 5%");
  }
  StopRequest stop;
  const Interrupt interrupt(stop);
  const std::vector<ComparedRun> before = readRuns(pathsBefore, options, stop);
  const std::vector<ComparedRun> after = readRuns(pathsAfter, options, stop);
  const std::vector<ComparedFigure> figures = compareRuns(before, after, options.metricPatterns);
  if (figures.empty()) {
    throw CommandError(kExitIncomplete, options.metricPatterns.empty()
                                            ? "there is nothing to compare in these files"
                                            : "no metric of these files has such a name");
  }
  for (const std::string& line : linesOfDifferentFacts(before, after)) warn(line);
  const std::string text = options.format == "csv" ? compareCsv(figures)
                           : options.format == "json"
                               ? compareJson(before, after, figures)
                               : compareText(before, after, figures, options.mostRows);
  std::fwrite(text.data(), 1, text.size(), stdout);
  return bound ? judge(figures, *bound, options.failAbove) : kExitDone;
}

}  // namespace tavrin
