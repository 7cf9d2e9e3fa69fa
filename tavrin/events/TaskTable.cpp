#include "tavrin/events/TaskTable.h"

#include "tavrin/common/PlainText.h"
#include "writers/host/Process.h"

namespace tavrin {

namespace {

const pwr::Attribute* numberAttribute(std::string_view name) {
  return pwr::Attribute::create(std::string(name), nullptr, pwr::AttributeType::Int);
}

const pwr::Attribute* pidAttribute() {
  static const pwr::Attribute* const attribute = numberAttribute(pwr::kPidAttribute);
  return attribute;
}

const pwr::Attribute* tidAttribute() {
  static const pwr::Attribute* const attribute = numberAttribute(pwr::kTidAttribute);
  return attribute;
}

}  // namespace

pwr::ExpectedAttributeManager TaskTable::expectedAttributes() {
  pwr::ExpectedAttributeManager attributes;
  attributes.addAttribute(pidAttribute());
  attributes.addAttribute(tidAttribute());
  return attributes;
}

pwr::AttributeValueManager TaskTable::identity(int task, std::optional<int> process) const {
  pwr::AttributeValueManager attributes;
  if (process) attributes.addAttributeValue(pidAttribute(), pwr::Data(*process));
  attributes.addAttributeValue(tidAttribute(), pwr::Data(task));
  return attributes;
}

void TaskTable::begin(int task, int process) {
  if (tasks_.size() >= kMostTasks) tasks_.clear();
  tasks_.insert_or_assign(task, Task{.process = process});
}

void TaskTable::tell(int task, int process) {
  Task& known = find(task);
  if (known.process == process) return;
  known.process = process;
  known.appearance.attributes = nullptr;
}

TaskTable::Task& TaskTable::find(int task) {
  const auto found = tasks_.find(task);
  if (found != tasks_.end()) return found->second;
  if (tasks_.size() >= kMostTasks) tasks_.clear();
  Task added;
  if (processOf_) added.process = processOf_(task);
  return tasks_.emplace(task, std::move(added)).first->second;
}

const TaskTable::Appearance& TaskTable::appearance(int task, std::string_view name) {
  if (task == 0) return idle_;
  Task& known = find(task);
  Appearance& appearance = known.appearance;
  if (appearance.attributes == nullptr) {
    appearance.attributes =
        std::make_shared<const pwr::AttributeValueManager>(identity(task, known.process));
  }
  if (known.name != name || appearance.name.getType() == pwr::DataType::None) {
    known.name = name;
    appearance.name = pwr::Data(shownName(name));
  }
  return appearance;
}

std::string TaskTable::shownName(std::string_view name) {
  std::string shown = escaped(name);
  const bool isFull = names_.size() >= kMostNames && !names_.contains(shown);
  if (isFull) return "others";
  names_.insert(shown);
  return shown;
}

}  // namespace tavrin
