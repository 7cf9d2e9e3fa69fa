#include "exporters/perfetto/ProcessLives.h"

#include <algorithm>
#include <string>
#include <vector>

#include "exporters/perfetto/SeriesTracks.h"

namespace pftrace {

namespace {

struct Program {
  unsigned long long from = 0;
  unsigned long long to = 0;
  std::string name;
};

std::string nameOf(const std::string& name, const std::string& path) {
  if (!name.empty()) return name;
  return path.empty() ? "unknown" : path;
}

/// What it ran in the run, in ticks, oldest first.
std::vector<Program> programsOf(const pwr::Process& process, unsigned long long start,
                                unsigned long long end) {
  std::vector<Program> programs;
  unsigned long long from = std::max(process.getStartTime(), start);
  const auto add = [&](unsigned long long to, std::string name) {
    to = std::min(to, end);
    if (to <= from) return;
    programs.push_back({from, to, std::move(name)});
    from = to;
  };
  for (const pwr::ProcessImage& image : process.getEarlierImages()) {
    add(image.endTime, nameOf(image.name, image.path));
  }
  add(process.getEndTime() == 0 ? end : process.getEndTime(),
      nameOf(process.getName(), process.getPath()));
  return programs;
}

}  // namespace

void tellLife(Trace& trace, const pwr::Process& process, unsigned long long end) {
  const unsigned long long start = trace.clock.start();
  const std::vector<Program> programs = programsOf(process, start, end);
  if (process.getPid() < 0 || programs.empty()) return;
  const bool isAllTheTime =
      programs.size() == 1 && programs[0].from == start && programs[0].to == end;
  if (isAllTheTime) return;
  const TrackPlace place{.parent = trace.tree.process(process.getPid(), process.getName()),
                         .rank = -1};
  StateTrack life(trace.tree.addTrack("Lifetime", place));
  for (const Program& program : programs) {
    life.add(trace, {program.from, program.to - program.from}, program.name, {}, false);
  }
  life.close(trace, end);
}

}  // namespace pftrace
