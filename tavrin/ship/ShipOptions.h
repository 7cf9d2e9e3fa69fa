#pragma once

#include <string>
#include <vector>

namespace tavrin {

/// What a user says about shipping, on the command line of `ship` or of `record`.
struct ShipOptions {
  std::vector<std::string> to;       ///< URLs; those of the configuration when there are none
  std::string config;                ///< file; "" for the usual places
  double holdSec = 60.0;             ///< how long a file stays after it was acknowledged
  double retryMostSec = 60.0;        ///< the longest wait between two attempts
  double timeoutSec = 60.0;          ///< for a request that gets on no more
  unsigned long long mostBytes = 0;  ///< of the folder; 0: 1 GB where files keep coming, else any
  bool follow = false;               ///< goes on when the folder is empty

  /// Whether a recording is to send its lines.
  bool isAsked() const { return !to.empty() || !config.empty(); }

  // Of ship:
  std::string folder;
  // Of record:
  double waitSec = 5.0;  ///< for acknowledgements, after the end
};

}  // namespace tavrin
