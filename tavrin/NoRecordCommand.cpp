// The record command on systems without live collection.

#include "tavrin/CommandError.h"
#include "tavrin/Commands.h"

namespace tavrin {

int runRecord(const Options& /*options*/) {
  throw CommandError(kExitUsage,
                     "live collection is available on Linux only; 'tavrin report' works here");
}

}  // namespace tavrin
