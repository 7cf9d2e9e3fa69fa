#include "exporters/perfetto/TrackTree.h"

#include <algorithm>
#include <protozero/pbf_writer.hpp>
#include <vector>

#include "formats/kernel_metrics.h"

namespace pftrace {

namespace {

using Message = protozero::pbf_writer;

// Tracks of processes and threads have numbers that say whose they are; all others count up.
constexpr std::uint64_t kProcessTracks = 1ULL << 40U;
constexpr std::uint64_t kThreadTracks = 1ULL << 41U;

/// Of a track, entities stand below what is measured on it.
constexpr std::int32_t kEntityRanks = 1 << 30;

constexpr std::size_t kMostTold = 65536;

/// What stands above the entities of a level. Hardware threads are no threads to a viewer.
std::string nameOfLevel(const std::string& level) {
  return std::string(level == kernel_metrics::kCpuLevel ? kernel_metrics::kCpuName : level);
}

std::int32_t entityRank(const pwr::EntityHandle& entity) {
  return kEntityRanks + static_cast<std::int32_t>(entity.getId() % kEntityRanks);
}

void addClock(Message& snapshot, std::uint32_t id, std::uint64_t time) {
  Message clock(snapshot, clock_snapshot::kClocks);
  clock.add_uint32(clock_snapshot::kClockId, id);
  clock.add_uint64(clock_snapshot::kTimestamp, time);
}

}  // namespace

CounterUnit CounterUnit::of(const pwr::Quantity* quantity) {
  if (quantity == nullptr) return {};
  if (pwr::isTime(quantity)) return {.kind = counter::kTimeNs};
  if (!quantity->toUnitsString().empty()) return {.name = shownText(quantity->toUnitsString())};
  const bool isCount = quantity->toQuantity() == pwr::QuantityType::Count;
  return {.kind = isCount ? counter::kCount : 0};
}

void TrackTree::begin(std::uint64_t time, std::uint64_t wallTime) {
  std::string& bytes = file_.scratch();
  {
    Message packet(bytes);
    packet.add_uint32(packet::kSequenceId, sequence_);
    packet.add_uint32(packet::kSequenceFlags, packet::kStateCleared);
    packet.add_bool(packet::kFirstOnSequence, true);
    Message snapshot(packet, packet::kClockSnapshot);
    addClock(snapshot, clock_snapshot::kMonotonicRaw, time);
    if (wallTime != 0) addClock(snapshot, clock_snapshot::kRealtime, wallTime);
    snapshot.add_enum(clock_snapshot::kPrimaryTraceClock,
                      static_cast<std::int32_t>(clock_snapshot::kMonotonicRaw));
  }
  file_.add(bytes);
  describe(0, "", {}, [](Message& track) {
    track.add_enum(track::kProcessOrdering, track::kExplicitProcessOrder);
  });
}

/// `addRest` adds what is particular to the kind of track.
template <typename AddRest>
void TrackTree::describe(std::uint64_t track, std::string_view name, const TrackPlace& place,
                         const AddRest& addRest) {
  std::string& bytes = file_.scratch();
  {
    Message packet(bytes);
    packet.add_uint32(packet::kSequenceId, sequence_);
    Message descriptor(packet, packet::kTrackDescriptor);
    descriptor.add_uint64(track::kUuid, track);
    if (!name.empty()) descriptor.add_string(track::kName, shownText(name));
    if (place.parent != 0) descriptor.add_uint64(track::kParentUuid, place.parent);
    descriptor.add_enum(track::kChildOrdering, track::kExplicitOrder);
    descriptor.add_int32(track::kSiblingOrderRank, place.rank);
    descriptor.add_enum(track::kSiblingMergeBehavior, track::kNeverMerged);
    addRest(descriptor);
  }
  file_.add(bytes);
}

TrackSequence TrackTree::addTrack(const std::string& name, const TrackPlace& place) {
  const std::uint32_t id = file_.newId();
  describe(id, name, place, [](Message& /*track*/) {});
  return TrackSequence(id);
}

TrackSequence TrackTree::addCounter(const std::string& name, const TrackPlace& place,
                                    const CounterUnit& unit) {
  const std::uint32_t id = file_.newId();
  describe(id, name, place, [&](Message& track) {
    // A counter is one by this message, even an empty one.
    std::string content;
    Message counter(content);
    counter.add_enum(counter::kUnit, unit.kind);
    if (!unit.name.empty()) counter.add_string(counter::kUnitName, unit.name);
    track.add_message(track::kCounter, content);
  });
  return TrackSequence(id);
}

std::uint64_t TrackTree::group(const std::string& name, std::int32_t rank) {
  const auto [known, isNew] = groups_.try_emplace(name);
  if (isNew) known->second = addTrack(name, {.rank = rank}).id();
  return known->second;
}

/// Describes the entities above it first. Not by recursion, as nothing bounds their number.
std::uint64_t TrackTree::entity(const pwr::EntityHandle& entity) {
  std::vector<const pwr::EntityHandle*> unknown;
  for (const auto* one = &entity; one != nullptr && !entities_.contains(one->getId());
       one = one->getParent()) {
    unknown.push_back(one);
  }
  std::for_each(unknown.rbegin(), unknown.rend(),
                [this](const auto* one) { describeEntity(*one); });
  return entities_.at(entity.getId());
}

void TrackTree::describeEntity(const pwr::EntityHandle& entity) {
  const TrackPlace place{.parent = parentOf(entity), .rank = entityRank(entity)};
  entities_[entity.getId()] = addTrack(entity.getName(), place).id();
}

std::uint64_t TrackTree::parentOf(const pwr::EntityHandle& entity) {
  if (const auto* const parent = entity.getParent()) return entities_.at(parent->getId());
  return entity.getLevel().empty() ? 0 : group(nameOfLevel(entity.getLevel()), entityRank(entity));
}

/// Whether the track has to be described; after very many, again.
bool TrackTree::isNew(std::uint64_t track) {
  if (told_.contains(track)) return false;
  if (told_.size() >= kMostTold) told_.clear();
  told_.insert(track);
  return true;
}

std::uint64_t TrackTree::process(std::int32_t pid, std::string_view name) {
  const std::uint64_t track = kProcessTracks + static_cast<std::uint32_t>(pid);
  if (isNew(track)) describeProcess(pid, name, "", 0);
  return track;
}

void TrackTree::thread(std::int32_t pid, std::int32_t tid, std::string_view name) {
  if (!isNew(kThreadTracks + static_cast<std::uint32_t>(tid))) return;
  process(pid, pid == tid ? name : "");
  describeThread(pid, tid, name);
}

void TrackTree::describeProcess(std::int32_t pid, std::string_view name, std::string_view path,
                                std::uint64_t start) {
  describe(kProcessTracks + static_cast<std::uint32_t>(pid), name, {.rank = pid},
           [&](Message& track) {
             Message process(track, track::kProcess);
             process.add_int32(process::kPid, pid);
             if (!path.empty()) process.add_string(process::kCommandLine, shownText(path));
             if (!name.empty()) process.add_string(process::kName, shownText(name));
             if (start != 0)
               process.add_int64(process::kStartTimestamp, static_cast<std::int64_t>(start));
           });
}

void TrackTree::describeThread(std::int32_t pid, std::int32_t tid, std::string_view name) {
  const TrackPlace place{.parent = kProcessTracks + static_cast<std::uint32_t>(pid), .rank = tid};
  describe(kThreadTracks + static_cast<std::uint32_t>(tid), name, place, [&](Message& track) {
    Message thread(track, track::kThread);
    thread.add_int32(thread::kPid, pid);
    thread.add_int32(thread::kTid, tid);
    if (!name.empty()) thread.add_string(thread::kName, shownText(name));
  });
}

void TrackTree::complete(const pwr::Process& process, const TraceClock& clock) {
  if (process.getPid() < 0) return;
  isNew(kProcessTracks + static_cast<std::uint32_t>(process.getPid()));
  describeProcess(process.getPid(), process.getName(), process.getPath(),
                  clock.nanoseconds(process.getStartTime()));
}

void TrackTree::complete(const pwr::Thread& thread) {
  if (thread.getPid() < 0 || thread.getTid() < 0) return;
  process(thread.getPid(), "");
  describeThread(thread.getPid(), thread.getTid(), thread.getName());
}

}  // namespace pftrace
