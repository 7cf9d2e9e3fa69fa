#include <cstdio>
#include <memory>
#include <string>

#include "readers/FormatError.h"
#include "readers/PlainText.h"
#include "readers/PwrText.h"
#include "readers/ResultReader.h"
#include "readers/RunFiles.h"
#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/inspect/ResultSummary.h"

namespace tavrin {

namespace {

/// The records of a timeline file, of which many are no points.
void printRecords(ResultFile& file) {
  pwrfile::PwrReader reader;
  pwrfile::PwrText text(reader,
                        [](const std::string& line) { std::fputs((line + "\n").c_str(), stdout); });
  try {
    reader.readFile(file.stream(), text);
  } catch (const FormatError& fault) {
    throw ResultError(file.name() + ": " + printable(fault.what()));
  }
}

void inspectRun(const RunFiles& run, bool withPoints) {
  auto file = std::make_unique<ResultFile>(run.front());
  if (withPoints && file->format() == ResultFormat::Timeline) {
    printRecords(*file);
    return;
  }
  ResultReader reader(std::move(file), run);
  ResultSummary(reader, withPoints).report(run);
}

}  // namespace

int runInspect(const Options& options) {
  try {
    for (const RunFiles& run : sortIntoRuns(options.files)) inspectRun(run, options.points);
  } catch (const std::runtime_error& fault) {
    std::fflush(stdout);  // what was printed comes before the error
    throw CommandError(kExitIncomplete, fault.what());
  }
  return kExitDone;
}

}  // namespace tavrin
