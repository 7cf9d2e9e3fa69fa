#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"

#if defined(__linux__)

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <optional>

#include "hostcommon/NumberText.h"
#include "hostcommon/Platform.h"
#include "hostcommon/StagedFile.h"
#include "hostcommon/Utf8Path.h"
#include "hostcommon/Version.h"
#include "hostcommon/session/PluginLibraries.h"
#include "hostcommon/session/Session.h"
#include "tavrin/Capture.h"
#include "tavrin/HostSetup.h"
#include "tavrin/LineShipping.h"
#include "tavrin/LiveFeatures.h"
#include "tavrin/WrittenFiles.h"
#include "tavrin/collect/KernelTracing.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SystemProbe.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/PlainText.h"
#include "tavrin/platform/ChildProcess.h"
#include "tavrin/platform/Interrupt.h"
#include "tavrin/platform/SamplingThread.h"
#include "tavrin/run/Sampler.h"
#include "tavrin/service/RecordService.h"
#include "tavrin/service/RunNames.h"

namespace tavrin {

namespace {

using Clock = StopRequest::Clock;
using Seconds = std::chrono::duration<double>;
using Milliseconds = std::chrono::duration<double, std::milli>;

/// Passes that may wait for the writers before sampling has to leave some out.
constexpr std::size_t kQueueCapacity = 256;
/// So many passes, or those of `kLoopPeriod`, are written together: each wake of the writer thread
/// takes some 30 us of the processors, whatever it finds.
constexpr std::size_t kPassesTogether = 64;
constexpr std::chrono::milliseconds kLoopPeriod{1000};
constexpr std::chrono::milliseconds kProgressPeriod{250};
/// Kernel events wait no longer, so that the kernel's buffers have room for more.
constexpr std::chrono::milliseconds kTracePeriod{50};

/// A run that may go on for months tells of fewer processes that have ended.
std::size_t mostEndedProcesses(const Options& options) {
  constexpr std::size_t kMostOfContinuous = 4096;
  return options.continuousSec > 0.0 ? kMostOfContinuous : ProcessTable::kMostEnded;
}

std::string withDecimals(double value, int decimals) {
  std::string text;
  pwr::appendFixed(text, value, decimals);
  return text;
}

Clock::duration toDuration(double seconds) {
  return std::chrono::duration_cast<Clock::duration>(Seconds(seconds));
}

std::string localTime(std::time_t time) {
  std::tm parts{};
  localtime_r(&time, &parts);
  char text[64];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &parts);
  return std::string(text, length);
}

/// One live collection, from probing to the closed outputs.
class Recording {
 public:
  explicit Recording(const Options& options);
  /// Throws CommandError when the outputs could not be written.
  void check() const;
  int run();
  /// Whether another run follows, in a process that begins anew. Not when the end was asked for.
  bool isReloading() const { return service_.isReloading() && stop_.signal() == 0; }

 private:
  void refuseCapture() const;
  void describe(const Sampler& sampler);
  void drain(SampleQueue& queue, const Sampler& sampler);
  void consume(SampleBatch& batch);
  void traceKernel(const Sampler& sampler);
  void showProgress(Clock::time_point now);
  void complete(const Sampler& sampler);
  void deliverRest();
  void tellOfMemory() const;
  void prepareOutputs();
  void makeRoom();
  SamplingReport sample();
  void report(const SamplingReport& sampling) const;
  void warnOfSilent() const;
  void awaitShipping();

  const Options& options_;
  const SamplingTimes times_;
  const std::unique_ptr<ChildProcess> command_;  ///< null where none is measured
  pwr::PluginLibraries plugins_;
  std::vector<WriterPlugin*> writers_;
  LineShipping shipping_;
  RecordService service_;
  const std::string suffix_;  ///< of the base name
  OutputNames names_;
  StopRequest stop_;
  std::optional<Interrupt> interrupt_;
  LiveFeatures features_;
  KernelTracing* const tracing_;  ///< null unless a feature traces the kernel
  pwr::SystemMetadata metadata_;
  std::optional<Capture> capture_;
  pwr::Session session_;
  Progress progress_;
  Clock::time_point start_;
  Clock::time_point nextFlush_;
  Clock::time_point nextTrace_;
  Clock::time_point nextProgress_;
};

Recording::Recording(const Options& options)
    : options_(options),
      times_(samplingTimes(options.intervalMs, options)),
      command_(options.command.empty() ? nullptr : std::make_unique<ChildProcess>(options.command)),
      plugins_(options.plugins),
      writers_(plugins_.select(options.writers)),
      shipping_(options),
      service_(options),
      suffix_(service_.namesStarts() ? startSuffix() : ""),
      names_(nameOutputs(options, plugins_, writers_, options.continuousSec > 0.0, suffix_)),
      interrupt_(
          std::in_place, stop_,
          [this] {
            if (command_ && command_->hasEnded()) stop_.request();
          },
          service_.isReloadable() ? std::function<void()>([this] { service_.reload(); }) : nullptr),
      features_(options, command_.get(), mostEndedProcesses(options)),
      tracing_(features_.tracing()),
      metadata_(probeSystem(features_.root(), features_.cpus())),
      session_(writers_, writerOptions(options)),
      progress_(options.verbosity > 0 && (options.command.empty() || options.progress)) {
  refuseCapture();
}

/// Where it would end up in something else that the run prints or writes.
void Recording::refuseCapture() const {
  if (options_.capture.empty()) return;
  const bool printed = options_.capture == "-";
  if (printed && names_.baseName() == "console") {
    throw CommandError(kExitUsage, "'--capture -' and '-o console' both print to standard output");
  }
  names_.refuse(printed ? "/dev/stdout" : options_.capture, "the capture");
}

/// Tells the writers what is measured, before the first sample.
void Recording::describe(const Sampler& sampler) {
  if (const auto beyond = OpenFile::countBeyondLimit(); beyond > 0) {
    warn("more files are to be read than may be open (ulimit -n): " + std::to_string(beyond) +
         " of them are read by turns, in longer intervals");
  }
  pwr::SystemDescription& system = metadata_.edit();
  system.collectionStartTimestamp = sampler.startTicks();
  const auto now = std::chrono::system_clock::now();
  system.collectionStartTime = localTime(std::chrono::system_clock::to_time_t(now));
  system.collectionStartTimeNs = static_cast<unsigned long long>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(now.time_since_epoch()).count());
  system.productVersion = pwr::kVersion;
  system.collectorVersionMajor = pwr::versionNumber(0);
  system.collectorVersionMinor = pwr::versionNumber(1);
  system.collectorVersionRevision = pwr::versionNumber(2);
  system.commandLine = options_.commandLine;
  session_.system(metadata_);

  std::vector<const pwr::MetricDescription*> metrics;
  for (const Feature* feature : features_.present()) {
    metrics.insert(metrics.end(), feature->metrics().begin(), feature->metrics().end());
  }
  if (capture_) capture_->writer().define(metrics);
  for (const Feature* feature : features_.present()) {
    session_.container(pwr::MetricContainerInfoMessage({.containerId = feature->containerId(),
                                                        .featureName = feature->tag(),
                                                        .metricName = feature->containerName(),
                                                        .heading = feature->containerName()}));
  }
}

void Recording::showProgress(Clock::time_point now) {
  if (now < nextProgress_) return;
  nextProgress_ = now + kProgressPeriod;
  std::string text = "recording " + withDecimals(Seconds(now - start_).count(), 1) + " s";
  const double duration = Seconds(times_.duration).count();
  if (duration > 0.0) text += " of " + withDecimals(duration, 1) + " s";
  progress_.show(text + ", " + std::to_string(session_.samples()) + " samples; Ctrl-C ends it");
}

void Recording::consume(SampleBatch& batch) {
  for (pwr::Metric& metric : batch) session_.metric(metric);
}

/// Takes what the kernel has traced when that is due. Samples may wait long after the last of them:
/// what the kernel does meanwhile is not of the run.
void Recording::traceKernel(const Sampler& sampler) {
  const auto now = Clock::now();
  if (tracing_ == nullptr || now < nextTrace_) return;
  if (sampler.stopTicks() != 0) tracing_->stop(sampler.stopTicks());
  const bool hasMore = tracing_->deliver(nowTicks(), session_);
  nextTrace_ = hasMore ? now : now + kTracePeriod;
}

/// The writer thread's work: takes what the sampling thread delivers until the collection is over.
void Recording::drain(SampleQueue& queue, const Sampler& sampler) {
  while (!queue.isDone()) {
    const auto now = Clock::now();
    if (command_ && command_->hasEnded()) stop_.request();
    auto wake = now + (progress_.isShown() ? kProgressPeriod : kLoopPeriod);
    wake = std::min(wake, now + service_.longestWait());
    if (options_.continuousSec > 0.0) wake = std::min(wake, nextFlush_);
    if (tracing_ != nullptr) wake = std::min(wake, nextTrace_);
    // Rounded up, so that the wait does not end just before the time that it waits for.
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(wake - now);
    SampleBatch* const batch = queue.beginRead(std::max(wait, std::chrono::milliseconds(0)));
    if (batch != nullptr) {
      consume(*batch);
      queue.endRead();
    }
    traceKernel(sampler);
    if (options_.continuousSec > 0.0 && Clock::now() >= nextFlush_) {
      makeRoom();
      session_.flush();
      nextFlush_ += toDuration(options_.continuousSec);
    }
    if (capture_) capture_->keepUp(Clock::now());
    showProgress(Clock::now());
    if (service_.keepUp(Clock::now(), batch != nullptr)) stop_.request();
  }
}

/// Completes the system description with what is known only at the end.
void Recording::complete(const Sampler& sampler) {
  pwr::SystemDescription& system = metadata_.edit();
  system.collectionStopTimestamp = sampler.stopTicks();
  features_.cpus().describe(system.topology);  // those that have joined
  system.collectionDurationSec =
      static_cast<double>(sampler.stopTicks() - sampler.startTicks()) / 1e9;
}

void Recording::deliverRest() {
  SampleBatch batch;
  for (const Feature* feature : features_.present()) feature->remainder(batch);
  for (pwr::Metric& metric : batch) session_.remainder(metric);
  for (Feature* feature : features_.present()) feature->finish(metadata_.edit(), session_);
}

void Recording::report(const SamplingReport& sampling) const {
  const auto microseconds = [](std::uint64_t ns) {
    return withDecimals(static_cast<double>(ns) / 1e3, 0) + " us";
  };
  inform(std::to_string(session_.samples()) + " samples in " +
         withDecimals(metadata_.getCollectionDurationSec(), 2) + " s; lateness p50 " +
         microseconds(sampling.lateness.quantile(0.5)) + ", p99 " +
         microseconds(sampling.lateness.quantile(0.99)) + ", max " +
         microseconds(sampling.lateness.maximum()) + "; " + std::to_string(sampling.late) +
         " late, " + std::to_string(sampling.missed) + " missed, " +
         std::to_string(sampling.dropped) + " dropped");
  if (tracing_ != nullptr) {
    inform(std::to_string(tracing_->taken()) + " kernel events, " +
           std::to_string(tracing_->lost()) + " lost");
  }
  if (sampling.missed + sampling.dropped > 0) {
    warn("sampling passes were left out: the interval of " + plainNumber(options_.intervalMs) +
         " ms is too short for this machine and these outputs (their counts are in the next pass)");
  }
}

void Recording::warnOfSilent() const {
  for (const std::string& line : session_.summary().linesOfSilent()) warn(line);
}

/// Tells of writers whose memory grows for as long as the run goes on.
void Recording::tellOfMemory() const {
  if (times_.duration.count() > 0 || options_.continuousSec > 0.0) return;
  std::string names;
  for (const WriterPlugin* writer : writers_) {
    const pwr::WriterPluginCapability& capability = pwr::PluginLibrary::capability(*writer);
    if (capability.getFlag()) names += (names.empty() ? "" : ", ") + capability.getName();
  }
  if (!names.empty()) inform("kept in memory until the end (-d, --continuous bound it): " + names);
}

/// Makes room for the outputs: from here on files are touched.
void Recording::prepareOutputs() {
  std::vector<std::string> leftovers;
  for (const auto& file : names_.leftovers()) leftovers.push_back(pwr::utf8FromPath(file));
  if (!leftovers.empty() && !options_.force) {
    throw CommandError(kExitIncomplete,
                       "numbered files of an earlier run are in the way (--force removes them): " +
                           fileList(leftovers));
  }
  for (const std::string& file : leftovers) {
    if (!pwr::platform::removeFile(file)) {
      throw CommandError(kExitIncomplete, "cannot remove " + file + ": " + std::strerror(errno));
    }
  }
  if (!leftovers.empty()) inform("removed " + fileList(leftovers));
  names_.makeFolder();
}

/// For the next files. Somebody may have taken the folder away since the last ones.
void Recording::makeRoom() {
  service_.makeRoom();
  names_.ensureFolder();
}

void Recording::check() const {
  namespace fs = std::filesystem;
  if (names_.baseName() == "console") return;
  std::error_code error;
  fs::path folder = fs::absolute(pwr::pathFromUtf8(names_.baseName())).parent_path();
  const bool isThere = fs::exists(folder, error);
  while (!fs::exists(folder, error) && folder.has_relative_path()) folder = folder.parent_path();
  pwr::StagedFile file;
  if (isThere ? file.open(names_.baseName()) : access(folder.c_str(), W_OK | X_OK) == 0) return;
  throw CommandError(kExitIncomplete, "cannot write into the folder " + pwr::utf8FromPath(folder) +
                                          ": " + std::strerror(errno));
}

/// Starts the command and samples until the end.
SamplingReport Recording::sample() {
  // A journal and results that are flushed have to keep up.
  const bool isPrompt = capture_.has_value() || options_.continuousSec > 0.0;
  SampleQueue queue(kQueueCapacity, isPrompt ? 1 : kPassesTogether);
  if (tracing_ != nullptr) tracing_->start();
  Sampler sampler(features_.present(), times_, queue, stop_);
  if (tracing_ != nullptr) tracing_->begin(sampler.startTicks());
  start_ = Clock::now();
  nextFlush_ = start_ + toDuration(options_.continuousSec);
  describe(sampler);
  if (command_) command_->start();
  service_.began();
  drain(queue, sampler);
  service_.ending();
  const SamplingReport sampling = sampler.join();
  if (tracing_ != nullptr) {
    tracing_->stop(sampler.stopTicks());
    tracing_->finish(session_);
  }
  complete(sampler);
  return sampling;
}

/// The outputs are complete: from here on Ctrl-C, also a second one, ends nothing but the wait.
void Recording::awaitShipping() {
  interrupt_.reset();
  StopRequest enough;
  const Interrupt interrupt(enough);
  shipping_.finish(enough);
  if (enough.signal() != SIGHUP) stop_.request(enough.signal());
}

int Recording::run() {
  const WrittenFiles written(
      [this](const std::string& path) { return shipping_.takes(path) || service_.takes(path); });
  tellOfMemory();
  prepareOutputs();
  shipping_.start(names_.baseName(), suffix_);
  service_.start(names_.baseName(), suffix_);
  session_.open(names_.baseName(), options_.continuousSec > 0.0);
  if (!options_.capture.empty()) {
    // Emptied only now: a run that cannot begin leaves the capture of an earlier one alone.
    capture_.emplace(options_.capture);
    session_.recordTo(capture_->writer());
  }
  const SamplingReport sampling = sample();
  deliverRest();
  // The journal first: what follows may take its time, and be killed.
  const bool isCaptured = !capture_ || capture_->finish(metadata_);
  if (command_) command_->end(stop_.signal() == SIGINT);
  progress_.show("writing the outputs");
  makeRoom();
  int status = reportIncomplete(session_.finish());
  if (!isCaptured) {
    fail("the capture " + options_.capture + " is incomplete");
    status = kExitIncomplete;
  }
  report(sampling);
  warnOfSilent();
  written.tell();
  service_.finish();
  awaitShipping();
  return command_ && command_->exitStatus() != 0 ? command_->exitStatus() : status;
}

}  // namespace

int runRecord(const Options& options) {
  setUpHost(options);
  auto recording = std::make_unique<Recording>(options);
  if (options.check) {
    recording->check();
    return kExitDone;
  }
  const int status = recording->run();
  const bool isReloading = recording->isReloading();
  recording.reset();
  if (isReloading) beginAnew(options.arguments);
  return status;
}

}  // namespace tavrin

#else

namespace tavrin {

int runRecord(const Options& /*options*/) {
  throw CommandError(kExitUsage,
                     "live collection is available on Linux only; 'tavrin report' works here");
}

}  // namespace tavrin

#endif
