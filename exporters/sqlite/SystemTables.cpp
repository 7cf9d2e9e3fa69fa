#include "exporters/sqlite/SystemTables.h"

#include <optional>
#include <variant>
#include <vector>

#include "writers/common/SystemFacts.h"

namespace sqlite {

namespace {

bool isKnown(const std::string& text) {
  return !text.empty();
}
template <typename Number>
bool isKnown(Number number) {
  return number != 0;
}

template <typename Value>
std::optional<Value> valueOrNull(const Value& value) {
  return isKnown(value) ? std::optional(value) : std::nullopt;
}

/// From the start; nothing for what is not known.
std::optional<std::int64_t> timeOf(unsigned long long timestamp, std::uint64_t start) {
  if (timestamp == 0) return std::nullopt;
  return static_cast<std::int64_t>(timestamp - start);
}

/// The number of the nearest node of that type at or above `node`.
std::optional<unsigned int> numberAbove(const pwr::TNode* node, pwr::TNodeType type) {
  while (node != nullptr && node->getType() != type) node = node->getParent();
  return node == nullptr ? std::nullopt : std::optional(node->getId());
}

}  // namespace

void writeRun(Database& database, const pwr::SystemMetadata& system, std::uint64_t start,
              double ticksPerMicrosecond) {
  Insertion run(database, "INSERT INTO run VALUES (?,?,?,?,?,?,?,?,?)");
  run.add(textOrNull(system.getProductVersion()), textOrNull(system.getDriverVersion()),
          textOrNull(system.getCommandLine()), textOrNull(system.getCollectionStartTime()),
          valueOrNull(system.getCollectionStartTimeNs()), start,
          valueOrNull(system.getCollectionStopTimestamp()),
          valueOrNull(system.getCollectionDurationSec()), ticksPerMicrosecond);
}

void writeSystem(Database& database, const pwr::SystemMetadata& system) {
  Insertion facts(database, "INSERT INTO system VALUES (?,?,?)");
  for (const SystemFact& fact : systemFacts()) {
    if (fact.title == nullptr || fact.group == SystemFactGroup::Collection) continue;
    std::visit(
        [&](const auto& value) {
          if (isKnown(value)) facts.add(fact.title, value, nullptr);
        },
        fact.of(system));
  }
  for (const pwr::NameValuePair& fact : system.getInfoValues()) {
    facts.add(fact.getInfoName(), fact.getValue(), textOrNull(fact.getValueDesc()));
  }

  Insertion cpus(database, "INSERT INTO cpu VALUES (?,?,?,?)");
  std::vector<const pwr::TNode*> threads;
  system.getTopTree().getAllThreads(threads);
  for (const pwr::TNode* thread : threads) {
    cpus.add(numberAbove(thread, pwr::TNodeType::Package),
             numberAbove(thread, pwr::TNodeType::Module), numberAbove(thread, pwr::TNodeType::Core),
             thread->getId());
  }

  Insertion lost(database, "INSERT INTO lost_events VALUES (?,?)");
  for (const pwr::LostEvents& one : system.getLostEvents()) lost.add(one.source, one.count);
}

void writeProcesses(Database& database, const pwr::SystemMetadata& system, std::uint64_t start) {
  Insertion processes(database, "INSERT INTO process VALUES (?,?,?,?,?,?,?)");
  Insertion images(database, "INSERT INTO process_image VALUES (?,?,?,?)");
  std::int64_t number = 0;
  for (const pwr::Process& process : system.getProcesses()) {
    processes.add(++number, process.getPid(), valueOrNull(process.getParentPid()),
                  textOrNull(process.getName()), textOrNull(process.getPath()),
                  timeOf(process.getStartTime(), start), timeOf(process.getEndTime(), start));
    for (const pwr::ProcessImage& image : process.getEarlierImages()) {
      images.add(number, timeOf(image.endTime, start), textOrNull(image.name),
                 textOrNull(image.path));
    }
  }
  Insertion threads(database, "INSERT INTO thread VALUES (?,?,?,?,?)");
  for (const pwr::Thread& thread : system.getThreads()) {
    threads.add(thread.getPid(), thread.getTid(), textOrNull(thread.getName()),
                timeOf(thread.getStartTime(), start), timeOf(thread.getEndTime(), start));
  }
}

}  // namespace sqlite
