#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tavrin/platform/AbortAction.h"
#include "tavrin/tracing/TraceApi.h"

namespace tavrin {

/// A tracing instance of our own ("instances/tavrin-PID"), whose buffers and settings are apart
/// from all others (Documentation/trace/ftrace.rst, "Instances"). It is removed when it is
/// destroyed, and when the run is aborted. That of a run that was killed is found by the next one,
/// which gets its lock, and removed.
class TraceInstance {
 public:
  /// `tracefs`: the folder where it is mounted. Throws CommandError.
  explicit TraceInstance(const std::string& tracefs);
  ~TraceInstance();
  TraceInstance(const TraceInstance&) = delete;
  TraceInstance& operator=(const TraceInstance&) = delete;

  const std::string& name() const { return name_; }
  /// What the process has to open for a file of the instance.
  std::string path(const std::string& file) const { return folder_ + "/" + file; }
  /// Writes to a file of the instance. Returns 0 or 1.
  int write(const char* file, const std::string& text);
  /// Returns 0 or 1.
  int enable(const char* system, const char* event);
  /// Opens the buffer of a CPU for reading without waiting. The descriptor is the instance's;
  /// negative, with errno, when there is none.
  int openBuffer(unsigned int cpu);

  /// Closes the buffers and removes the instance. Returns 0, or the errno of the failure.
  int remove();

 private:
  struct Release {
    void operator()(tracefs_instance* instance) const { trace_api_release_instance(instance); }
  };

  int make();
  void abandon();

  std::string folders_;  // of all instances
  std::string name_;
  std::string folder_;
  int lock_ = -1;
  std::mutex mutex_;  // of the next one: an abort comes in its own thread
  std::vector<int> buffers_;
  std::unique_ptr<tracefs_instance, Release> instance_;
  std::unique_ptr<AbortAction> abort_;
};

}  // namespace tavrin
