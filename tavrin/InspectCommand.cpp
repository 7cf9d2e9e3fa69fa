#include <algorithm>
#include <string>

#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/inspect/BinaryRun.h"
#include "tavrin/inspect/TimelineFile.h"
#include "tavrin/inspect/TraceFile.h"

namespace tavrin {

namespace {

bool isBinary(const std::string& name) {
  return name.ends_with(".ztbin");
}

bool isTrace(const std::string& name) {
  return name.ends_with(".ztjson");
}

bool isTimeline(const std::string& name) {
  return name.ends_with(".pwr");
}

}  // namespace

int runInspect(const Options& options) {
  for (const std::string& name : options.files) {
    if (!isBinary(name) && !isTrace(name) && !isTimeline(name)) {
      throw CommandError(kExitUsage, "cannot inspect " + name +
                                         ": its name ends with none of .ztbin, .ztjson and .pwr");
    }
  }
  BinaryRun run(options.points);
  for (const std::string& name : options.files) {
    if (isBinary(name)) run.add(name);
  }
  if (std::ranges::any_of(options.files, isBinary)) run.finish();
  for (const std::string& name : options.files) {
    if (isTrace(name)) inspectTrace(name, options.points);
    if (isTimeline(name)) inspectTimeline(name, options.points);
  }
  return kExitDone;
}

}  // namespace tavrin
