#pragma once

#include <memory>
#include <string>

#include "tavrin/Options.h"
#include "tavrin/platform/StopRequest.h"

namespace tavrin {

/// Sends the files of lines of a recording while it goes on, and those that earlier recordings with
/// the same base name have left, from a thread that has nothing to do with sampling.
/// The names of such a recording have its start in them (RunNames.h).
class LineShipping {
 public:
  /// Does nothing unless the options ask for it. Throws CommandError for a faulty configuration, or
  /// where the build has no shipping.
  explicit LineShipping(const Options& options);
  /// Ends the thread, if `finish` has not.
  ~LineShipping();
  LineShipping(const LineShipping&) = delete;
  LineShipping& operator=(const LineShipping&) = delete;

  /// Begins to send files of this base name, which ends in `suffix`: the start of the run. Throws
  /// CommandError when another process sends them already.
  void start(const std::string& baseName, const std::string& suffix);
  /// Whether a file is one of those that are sent, and is gone then.
  bool takes(const std::string& path) const;
  /// Waits until everything is acknowledged, but only for a bounded time, and not when a stop is
  /// requested meanwhile. Tells what became of the files.
  void finish(const StopRequest& stop);

 private:
  struct Thread;

  const ShipOptions options_;
  std::string stem_;  ///< of the names, without the folder and the suffix
  std::unique_ptr<Thread> thread_;
};

/// Whether the name is that of a numbered file of lines of a recording with this stem:
/// STEM-DATE-TIME-MILLISECONDS_N.lp.gz.
bool isShippedName(const std::string& name, const std::string& stem);

}  // namespace tavrin
