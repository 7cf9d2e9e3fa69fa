#include "tavrin/events/OtherGroup.h"

#include <algorithm>
#include <utility>

#include "hostcommon/Descriptions.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

constexpr pwr::AttributeType kTypes[] = {pwr::AttributeType::Int, pwr::AttributeType::UInt,
                                         pwr::AttributeType::String};
static_assert(std::variant_size_v<EventField::Value> == std::size(kTypes));

pwr::Data dataOf(const EventField::Value& value) {
  if (const auto* const text = std::get_if<std::string_view>(&value)) {
    return pwr::Data(escaped(*text));
  }
  if (const auto* const natural = std::get_if<unsigned long long>(&value)) {
    return pwr::Data(*natural);
  }
  return pwr::Data(std::get<long long>(value));
}

const pwr::Attribute* attributeFor(const EventField& field) {
  return pwr::Attribute::create(escaped(field.name), nullptr, kTypes[field.value.index()]);
}

const pwr::Attribute* taskAttribute() {
  static const pwr::Attribute* const attribute =
      pwr::Attribute::create("Task", nullptr, pwr::AttributeType::String);
  return attribute;
}

bool isOf(const EventField& field, const std::string& name, std::size_t type) {
  return field.value.index() == type && field.name == name;
}

}  // namespace

OtherGroup::Kind OtherGroup::create(const std::string& name, const OtherEvent& what) {
  std::vector<KnownField> fields;
  pwr::ExpectedAttributeManager expected = TaskTable::expectedAttributes();
  expected.addAttribute(taskAttribute());
  for (const EventField& field : what.fields.first(std::min(what.fields.size(), kMostFields))) {
    const auto isSame = [&](const KnownField& known) {
      return isOf(field, known.name, known.type);
    };
    if (std::ranges::any_of(fields, isSame)) continue;
    fields.push_back({std::string(field.name), field.value.index(), attributeFor(field)});
    expected.addAttribute(fields.back().attribute);
  }
  pwr::MetricDescription metric{
      .name = name,
      .type = pwr::Metric::MetricType::TracedEvent,
      .quantity = stateQuantity(),
      .entityGroup = std::make_shared<const pwr::Field>("CPU"),
      .valueGroup = std::make_shared<const pwr::Field>("Event", expected)};
  const std::size_t announced = fields.size();
  return {addMetric(std::move(metric), {containerId_, tag_}, "Event"), std::move(fields),
          announced};
}

OtherGroup::Kind* OtherGroup::find(const KernelEvent& event, const OtherEvent& what) {
  const auto found = kinds_.find(event.name);
  if (found != kinds_.end()) return &found->second;
  if (kinds_.size() < kMostMetrics) {
    const std::string name(event.name);
    return &kinds_.emplace(name, create(escaped(name), what)).first->second;
  }
  if (!std::exchange(hasTooMany_, true)) {
    warn("events of more than " + std::to_string(kMostMetrics) +
         " other names; further ones are left out, the first of them is " +
         std::string(event.name));
  }
  return nullptr;
}

/// The field's place among those that are known, `expected` as a rule. The number of them for one
/// too many.
std::size_t OtherGroup::placeOf(Kind& kind, const KernelEvent& event, std::size_t expected,
                                const EventField& field) {
  std::vector<KnownField>& fields = kind.fields;
  const auto isSame = [&](const KnownField& known) { return isOf(field, known.name, known.type); };
  if (expected < fields.size() && isSame(fields[expected])) return expected;
  const auto place =
      static_cast<std::size_t>(std::ranges::find_if(fields, isSame) - fields.begin());
  if (place < fields.size()) return place;
  if (fields.size() < kMostFields) {
    fields.push_back({std::string(field.name), field.value.index(), attributeFor(field)});
    return place;
  }
  if (!std::exchange(kind.hasTooMany, true)) {
    warn("the event " + std::string(event.name) + " has more than " + std::to_string(kMostFields) +
         " fields; further ones are left out, the first of them is " + std::string(field.name));
  }
  return place;
}

void OtherGroup::deliver(Kind& kind, const KernelEvent& event, const OtherEvent& what,
                         pwr::MessageSink& sink) {
  TaskTable& tasks = shared_.tasks();
  auto attributes = std::make_shared<pwr::AttributeValueManager>();
  if (what.task >= 0) *attributes = tasks.identity(what.task, tasks.processOf(what.task));
  if (!what.taskName.empty()) {
    attributes->addAttributeValue(taskAttribute(), pwr::Data(escaped(what.taskName)));
  }
  std::shared_ptr<pwr::DynamicAttributeValueManager> more;
  for (std::size_t i = 0; i < what.fields.size(); ++i) {
    const EventField& field = what.fields[i];
    const std::size_t place = placeOf(kind, event, i, field);
    if (place >= kind.fields.size()) continue;
    const pwr::Attribute* const attribute = kind.fields[place].attribute;
    if (place < kind.announced) {
      attributes->addAttributeValue(attribute, dataOf(field.value));
    } else {
      if (more == nullptr) more = std::make_shared<pwr::DynamicAttributeValueManager>();
      more->addAttributeValue(attribute->getId(), dataOf(field.value));
    }
  }
  const std::string value = escaped(what.text.empty() ? event.name : what.text);
  kind.metric.deliver(event.time, 0, shared_.cpu(event.cpu), pwr::Data(value),
                      std::move(attributes), std::move(more), sink);
}

void OtherGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  const auto* const what = std::get_if<OtherEvent>(&event.what);
  if (what == nullptr) return;  // a loss: an event does not last
  if (Kind* const kind = find(event, *what)) deliver(*kind, event, *what, sink);
}

}  // namespace tavrin
