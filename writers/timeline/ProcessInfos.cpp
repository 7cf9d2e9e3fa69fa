#include "writers/timeline/ProcessInfos.h"

#include "formats/pwr_format.h"
#include "writers/timeline/InfoTexts.h"

using pwrfile::kNone;
namespace info_type = pwrfile::info_type;

namespace {

/// "start 5 end 9; start 12 end 0"
template <typename Life>
std::string lifetimesText(const std::vector<const Life*>& lives) {
  std::string text;
  for (const Life* life : lives) {
    if (!text.empty()) text += "; ";
    text += "start " + std::to_string(life->getStartTime()) + " end " +
            std::to_string(life->getEndTime());
  }
  return text;
}

std::string lastPart(const std::string& path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

}  // namespace

ProcessInfos::KnownProcess& ProcessInfos::process_i(long long pid) {
  KnownProcess& process = processes_[pid];
  if (process.id == 0) process.id = pwr::UniqueId().getId();
  return process;
}

ProcessInfos::KnownThread& ProcessInfos::thread_i(long long tid) {
  KnownThread& thread = threads_[tid];
  if (thread.id == 0) thread.id = pwr::UniqueId().getId();
  return thread;
}

std::uint64_t ProcessInfos::processId(long long pid) {
  return process_i(pid).id;
}

std::uint64_t ProcessInfos::threadId(long long tid) {
  return thread_i(tid).id;
}

std::uint64_t ProcessInfos::threadId(long long pid, long long tid) {
  KnownThread& thread = thread_i(tid);
  thread.hasProcess = true;
  thread.pid = pid;
  return thread.id;
}

int ProcessInfos::write(const pwr::SystemMetadata& metadata) {
  collect_i(metadata);
  for (auto& [pid, process] : processes_) {
    if (writeProcess_i(pid, process) != 0) return 1;
  }
  for (const auto& [tid, thread] : threads_) {
    if (writeThread_i(tid, thread) != 0) return 1;
  }
  return 0;
}

void ProcessInfos::collect_i(const pwr::SystemMetadata& metadata) {
  for (const pwr::Process& process : metadata.getProcesses()) {
    process_i(process.getPid()).lives.push_back(&process);
  }
  for (const pwr::Thread& thread : metadata.getThreads()) {
    threadId(thread.getPid(), thread.getTid());
    thread_i(thread.getTid()).lives.push_back(&thread);
  }
  for (const auto& [tid, thread] : threads_) {
    if (thread.hasProcess) process_i(thread.pid);
  }
}

int ProcessInfos::writeProcess_i(long long pid, KnownProcess& process) {
  if (process.isStarted) return 0;
  process.isStarted = true;
  std::string path = "Process " + std::to_string(pid);
  std::uint64_t parentId = kNone;
  if (!process.lives.empty()) {
    const pwr::Process& last = *process.lives.back();
    if (!last.getPath().empty()) path = last.getPath();
    const auto parent = processes_.find(last.getParentPid());
    if (parent != processes_.end()) {
      if (writeProcess_i(parent->first, parent->second) != 0) return 1;
      // Not written yet if the host says that the process is its own ancestor.
      if (parent->second.isWritten) parentId = parent->second.id;
    }
  }
  const std::string shortName = lastPart(path);
  const std::string description = lifetimesText(process.lives);
  const InfoTexts texts = InfoTexts{path, shortName, description}.fitting(info_type::kProcess);
  if (infos_.write(info_type::kProcess, texts, static_cast<std::uint64_t>(pid), process.id,
                   parentId) != 0) {
    return 1;
  }
  process.isWritten = true;
  return 0;
}

int ProcessInfos::writeThread_i(long long tid, const KnownThread& thread) {
  const std::string number = std::to_string(tid);
  const std::string name = "Thread " + number;
  const std::string description = lifetimesText(thread.lives);
  const InfoTexts texts = InfoTexts{name, number, description}.fitting(info_type::kThread);
  return infos_.write(info_type::kThread, texts, static_cast<std::uint64_t>(tid), thread.id,
                      thread.hasProcess ? processes_.at(thread.pid).id : kNone);
}
