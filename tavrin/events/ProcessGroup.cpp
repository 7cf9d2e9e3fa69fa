#include "tavrin/events/ProcessGroup.h"

#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

constexpr std::size_t kMostName = 15;  // of a program's, as the name of its process

std::shared_ptr<const pwr::Field> eventField(const pwr::Attribute* name) {
  pwr::ExpectedAttributeManager attributes = TaskTable::expectedAttributes();
  attributes.addAttribute(name);
  return std::make_shared<const pwr::Field>("Event", attributes);
}

}  // namespace

ProcessGroup::ProcessGroup(EventShared& shared, const Place& place)
    : shared_(shared),
      nameAttribute_(pwr::Attribute::create("Name", nullptr, pwr::AttributeType::String)),
      events_(addMetric({.name = "Process Events",
                         .type = pwr::Metric::MetricType::TracedEvent,
                         .quantity = stateQuantity(),
                         .valueGroup = eventField(nameAttribute_)},
                        place, "Event")) {}

void ProcessGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  TaskTable& tasks = shared_.tasks();
  if (const auto* const created = std::get_if<NewTaskEvent>(&event.what)) {
    const int process = created->isThread
                            ? tasks.processOf(created->creator).value_or(created->creator)
                            : created->task;
    tasks.begin(created->task, process);
  } else if (const auto* const forked = std::get_if<ForkEvent>(&event.what)) {
    fork(event, *forked, sink);
  } else if (const auto* const replaced = std::get_if<ExecEvent>(&event.what)) {
    exec(event, *replaced, sink);
  } else if (const auto* const ended = std::get_if<ExitEvent>(&event.what)) {
    exit(event, *ended, sink);
  }
}

void ProcessGroup::fork(const KernelEvent& event, const ForkEvent& fork, pwr::MessageSink& sink) {
  TaskTable& tasks = shared_.tasks();
  if (!tasks.isKnown(fork.task)) tasks.begin(fork.task, fork.task);
  const int process = tasks.processOf(fork.task).value_or(fork.task);
  const bool isThread = process != fork.task;
  tell(event, fork.task, isThread ? "thread start" : "fork", fork.name, sink);
  ProcessTable* const lives = shared_.facts().processes;
  if (lives == nullptr) return;
  const std::string name = escaped(fork.name);
  if (isThread) return lives->threadStarted(process, fork.task, event.time, name);
  lives->started(fork.task, tasks.processOf(fork.parent).value_or(fork.parent), event.time, "",
                 name);
}

/// Whichever thread did it is the process from now on.
void ProcessGroup::exec(const KernelEvent& event, const ExecEvent& exec, pwr::MessageSink& sink) {
  shared_.tasks().begin(exec.task, exec.task);
  tell(event, exec.task, "exec", exec.path, sink);
  if (ProcessTable* const lives = shared_.facts().processes) {
    const std::string_view name = exec.path.substr(exec.path.rfind('/') + 1);
    lives->execed(exec.task, event.time, escaped(exec.path), escaped(name.substr(0, kMostName)));
  }
}

void ProcessGroup::exit(const KernelEvent& event, const ExitEvent& exit, pwr::MessageSink& sink) {
  TaskTable& tasks = shared_.tasks();
  const int process = tasks.processOf(exit.task).value_or(exit.task);
  tell(event, exit.task, process == exit.task ? "exit" : "thread exit", exit.name, sink);
  tasks.end(exit.task);
  ProcessTable* const lives = shared_.facts().processes;
  if (lives == nullptr) return;
  // The threads of a process end in any order.
  lives->threadEnded(exit.task, event.time);
  if (lives->livingThreadsOf(process).empty()) lives->ended(process, event.time);
}

void ProcessGroup::tell(const KernelEvent& event, int task, const char* what, std::string_view name,
                        pwr::MessageSink& sink) {
  TaskTable& tasks = shared_.tasks();
  pwr::AttributeValueManager attributes = tasks.identity(task, tasks.processOf(task));
  attributes.addAttributeValue(nameAttribute_, pwr::Data(escaped(name)));
  events_.deliver(event.time, 0, nullptr, pwr::Data(what),
                  std::make_shared<const pwr::AttributeValueManager>(std::move(attributes)), sink);
}

}  // namespace tavrin
