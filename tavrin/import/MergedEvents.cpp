#include "tavrin/import/MergedEvents.h"

#include <algorithm>

namespace tavrin {

namespace {

bool isLater(const CpuEvents* one, const CpuEvents* other) {
  return one->time() > other->time();
}

}  // namespace

MergedEvents::MergedEvents(RandomBytes& file, const Recording& recording) : recording_(recording) {
  const RingLayout layout{recording.order, recording.longSize};
  for (const RecordedBuffer& buffer : recording.buffers) {
    for (const RecordedCpu& cpu : buffer.cpus) {
      sources_.push_back({&buffer, {cpu.cpu, openPages(file, recording, buffer, cpu), layout}});
    }
  }
  for (Source& source : sources_) {
    if (source.events.next()) waiting_.push_back(&source.events);
  }
  std::ranges::make_heap(waiting_, isLater);
  if (!waiting_.empty()) std::ranges::pop_heap(waiting_, isLater);
}

unsigned long long MergedEvents::time() const {
  unsigned long long time = waiting_.back()->time();
  if (recording_.scale) {
    // In two halves, as the product has more bits than a number.
    const unsigned long long factor = recording_.scale->factor;
    const std::uint32_t shift = recording_.scale->shift;
    time = ((time & 0xFFFFFFFFU) * factor >> shift) + ((time >> 32U) * factor << (32 - shift));
  }
  return time + static_cast<unsigned long long>(recording_.timeOffset);
}

void MergedEvents::next() {
  CpuEvents& present = *waiting_.back();
  if (!present.next()) {
    waiting_.pop_back();
    if (!waiting_.empty()) std::ranges::pop_heap(waiting_, isLater);
    return;
  }
  // Often the next event is of the same CPU.
  if (waiting_.size() == 1 || !isLater(&present, waiting_.front())) return;
  std::ranges::push_heap(waiting_, isLater);
  std::ranges::pop_heap(waiting_, isLater);
}

std::vector<std::string> MergedEvents::faults() const {
  std::vector<std::string> faults;
  for (const Source& source : sources_) {
    if (source.events.fault().empty()) continue;
    const std::string& name = source.buffer->name;
    faults.push_back("CPU " + std::to_string(source.events.cpu()) +
                     (name.empty() ? "" : " of the buffer '" + name + "'") + ": " +
                     source.events.fault());
  }
  return faults;
}

}  // namespace tavrin
