#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "formats/kernel_metrics.h"
#include "tavrin/events/TracedMetric.h"
#include "writers/host/Attribute.h"
#include "writers/host/Data.h"

namespace tavrin {

/// The tasks that events speak of: to which process each belongs, and what samples say of it. What
/// is kept is bounded: of very many tasks all are forgotten and found again, of very many names the
/// later ones become "others".
class TaskTable {
 public:
  static constexpr std::size_t kMostTasks = 65536;
  static constexpr std::size_t kMostNames = 16384;

  /// Tells the process of a task that no event has told of, or nothing.
  using ProcessOf = std::function<std::optional<int>(int task)>;

  explicit TaskTable(ProcessOf processOf) : processOf_(std::move(processOf)) {}

  /// A task begins, whose number may have been that of another one.
  void begin(int task, int process);
  /// The process of a task of which nothing new is told.
  void tell(int task, int process);
  bool isKnown(int task) const { return tasks_.contains(task); }
  void end(int task) { tasks_.erase(task); }

  std::optional<int> processOf(int task) { return find(task).process; }

  struct Appearance {
    pwr::Data name;
    EventAttributes attributes;
  };
  /// How samples show a task that has the name at present.
  const Appearance& appearance(int task, std::string_view name);

  /// PID, where it is known, and TID.
  pwr::AttributeValueManager identity(int task, std::optional<int> process) const;
  static pwr::ExpectedAttributeManager expectedAttributes();

 private:
  struct Task {
    std::optional<int> process;
    std::string name{};  // as the kernel has it
    Appearance appearance{};
  };

  Task& find(int task);
  std::string shownName(std::string_view name);

  ProcessOf processOf_;
  std::unordered_map<int, Task> tasks_;
  std::unordered_set<std::string> names_;
  Appearance idle_{pwr::Data(std::string(kernel_metrics::kIdleTask)), nullptr};
};

}  // namespace tavrin
