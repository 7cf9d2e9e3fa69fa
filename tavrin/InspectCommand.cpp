#include <string>

#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/inspect/BinaryRun.h"
#include "tavrin/inspect/FileRun.h"
#include "tavrin/inspect/TimelineFile.h"
#include "tavrin/inspect/TraceFile.h"

namespace tavrin {

int runInspect(const Options& options) {
  for (const std::string& name : options.files) {
    if (!isBinary(name) && !isTrace(name) && !isTimeline(name)) {
      throw CommandError(kExitUsage, "cannot inspect " + name +
                                         ": its name ends with none of .ztbin, .ztjson and .pwr");
    }
  }
  for (const FileRun& run : sortIntoRuns(options.files)) {
    if (isBinary(run.front())) inspectBinary(run, options.points);
    if (isTrace(run.front())) inspectTrace(run, options.points);
    if (isTimeline(run.front())) inspectTimeline(run.front(), options.points);
  }
  return kExitDone;
}

}  // namespace tavrin
