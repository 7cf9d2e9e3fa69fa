#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/ProcessFiles.h"
#include "tavrin/collect/StatFile.h"
#include "tavrin/common/ProcessTable.h"
#include "writers/host/Attribute.h"

namespace tavrin {

/// A process of the machine, by its number and start, as the polls of a run see it. Times on a
/// processor are in nanoseconds.
struct PolledProcess {
  int pid = 0;
  ProcessStat stat;
  bool isReadable = true;
  unsigned long long cpu = 0;        ///< used since its start, until the last poll
  unsigned long long spent = 0;      ///< used in the interval that ended with the last poll
  unsigned long long used = 0;       ///< used in the run
  std::optional<SchedTimes> before;  ///< of the main thread when the process joined
  std::optional<SchedTimes> after;   ///< the same when it was last read
  std::optional<ProcessStatus> first;
  std::optional<ProcessStatus> last;
  std::vector<unsigned long long> microjoules;  ///< of each zone, which a model gives it
  unsigned long long lookAt = 0;   ///< the time on a processor with which to look again
  unsigned long long ran = 0;      ///< when it was last found to have run, in ticks
  std::optional<OpenFile> sched;   ///< of one that has been busy
  unsigned long long checked = 0;  ///< when it was last found to have its number still, in ticks
  std::optional<unsigned long long> checkedForks;                ///< how many had been started then
  std::shared_ptr<const pwr::AttributeValueManager> attributes;  ///< of one that has been busy
};

/// Polls the processes of the machine, once per sampling pass however many features need it: which
/// are there, and what they have used of the processors since the pass before.
///
/// A poll asks for the list of processes, if any were started since it had it, and for the time
/// that each has used (1 µs, most of it to get at what no cache has any more). Only of those that
/// have used some it makes sure that the number is still theirs, by a file that stays the first
/// owner's, and looks at names and memory again, when that time has doubled since. A process that
/// ends takes with it what it has used since the last pass, and one that is born and ends between
/// two passes is never seen.
///
/// Most processes do nothing most of the time. One that has not run for a second rests: it is asked
/// twice a second only, and what it has used is of the interval in which it is found, as is its end
/// where nothing is started. All are asked when the machine has worked for more time than was
/// found, so that what is not found yet is never more than some 20 ms.
class ProcessPoll {
 public:
  /// What each poll has to know of a process, side by side: most of them it leaves alone.
  struct Known {
    int pid = 0;
    unsigned long long restsUntil = 0;  ///< in ticks; it is not asked before
    std::unique_ptr<PolledProcess> process;
  };

  /// `lives` is told of what the polls see.
  ProcessPoll(std::shared_ptr<ProcessTable> lives, std::shared_ptr<StatFile> stat)
      : lives_(std::move(lives)), stat_(std::move(stat)) {}

  /// Looks at all processes. To be called before the first poll; again it does nothing. Returns ""
  /// or why there is nothing to poll. `root` must outlive the poll.
  std::string open(const SysRoot& root);

  /// Polls at `now` (ticks). Allocates nothing unless processes come, or are busy for the first
  /// time.
  void pollAt(unsigned long long now);

  /// Tells that the next poll is the last, in which nothing rests.
  void expectLast() { isLast_ = true; }

  const Interval& interval() const { return interval_; }
  /// Those that were busy in the interval that the last poll has ended, the busiest first. Empty
  /// after the first poll.
  const std::vector<PolledProcess*>& busy() const { return busy_; }
  /// What all of them have used of the processors.
  unsigned long long spent() const { return spent_; }
  /// Those that the last poll found ended.
  const std::vector<PolledProcess>& gone() const { return gone_; }

  /// Attributes of an element that is about a process; the first is its name.
  const pwr::ExpectedAttributeManager& expected() const { return expected_; }
  const std::shared_ptr<const pwr::AttributeValueManager>& attributesOf(PolledProcess& process);
  /// The same for those that have a name in common only.
  std::shared_ptr<const pwr::AttributeValueManager> attributesNamed(const std::string& name) const;

  /// Looks once more at those that have been busy, at the end of the run.
  void finish();
  const std::vector<Known>& processes() const { return processes_; }
  const ProcessTable& lives() const { return *lives_; }
  unsigned long long joined() const { return joined_; }  ///< processes that came during the run
  unsigned long long left() const { return left_; }      ///< processes that ended during it

 private:
  std::vector<Known>::iterator placeOf(int pid) {
    return std::ranges::lower_bound(processes_, pid, {}, &Known::pid);
  }
  bool isKnown(int pid) {
    const auto place = placeOf(pid);
    return place != processes_.end() && place->pid == pid;
  }
  PolledProcess* meet(int pid);
  void begin(PolledProcess& process);
  void join(int pid);
  bool isListed();
  void endUnlisted();
  void ask(bool isOfResting);
  bool update(Known& known);
  bool isMuchMissing();
  std::string programOf(int pid, const ProcessStat& stat) const;
  bool isStill(PolledProcess& process);
  void look(PolledProcess& process);
  void learnIdentity(PolledProcess& process, const ProcessStat& stat);
  void noteSpent(PolledProcess& process, unsigned long long spent);
  void end(PolledProcess& process);
  void tellThreads(const PolledProcess& process);
  unsigned long long startOf(const ProcessStat& stat) const;

  std::optional<ProcessFiles> files_;
  bool isThisMachine_ = false;
  unsigned long long ticksPerClockTick_ = 0;
  std::vector<Known> processes_;  // ascending
  const std::shared_ptr<ProcessTable> lives_;
  const std::shared_ptr<StatFile> stat_;
  std::optional<unsigned long long> forks_;  // as of the last list
  Interval interval_;
  std::optional<unsigned long long> now_;
  bool isFirst_ = true;
  bool isLast_ = false;
  unsigned long long worked_ = 0;   // by the machine, as of the last poll
  unsigned long long missing_ = 0;  // of that, what was not found since all were asked
  std::vector<int> pids_;
  std::vector<int> ended_;  // reused
  std::vector<PolledProcess*> busy_;
  std::vector<PolledProcess> gone_;
  unsigned long long spent_ = 0;
  unsigned long long joined_ = 0;
  unsigned long long left_ = 0;
  std::size_t openFiles_ = 0;
  pwr::ExpectedAttributeManager expected_;
  std::vector<const pwr::Attribute*> attributes_;
};

}  // namespace tavrin
