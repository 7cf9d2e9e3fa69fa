#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"

#if defined(PW_SHIP)

#include "tavrin/HostSetup.h"
#include "tavrin/common/Messages.h"
#include "tavrin/platform/Interrupt.h"
#include "tavrin/ship/ShipConfig.h"
#include "tavrin/ship/Shipper.h"

namespace tavrin {

int runShip(const Options& options) {
  setUpHost(options);
  const ShipConfig config(options.ship.config);
  StopRequest stop;
  const Interrupt interrupt(stop);
  Shipper shipper(options.ship, config.endpoints(options.ship.to), options.ship.folder,
                  isFileOfLines);
  Progress progress(options.verbosity > 0);
  shipper.run(stop, &progress);
  shipper.tellOutcome();
  return shipper.isComplete() ? kExitDone : kExitIncomplete;
}

}  // namespace tavrin

#else

namespace tavrin {

int runShip(const Options& /*options*/) {
  throw CommandError(kExitUsage,
                     "'tavrin ship' is not in this build: it needs Linux, libcurl and zlib");
}

}  // namespace tavrin

#endif
