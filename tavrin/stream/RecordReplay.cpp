#include "tavrin/stream/RecordReplay.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "tavrin/stream/SystemRecord.h"

namespace tavrin {

namespace {

constexpr const char* kNoHeader =
    R"(not a recorded stream: it does not begin with {"type":"tavrin-stream","version":2})";

std::string_view typeOf(const json::Value& record) {
  if (!record.IsObject()) throw StreamError("a record is a JSON object");
  const auto member = record.FindMember("type");
  if (member == record.MemberEnd()) json::fail("type", "missing");
  if (!member->value.IsString()) json::fail("type", "not a string");
  return {member->value.GetString(), member->value.GetStringLength()};
}

unsigned long long addSaturated(unsigned long long a, unsigned long long b) {
  const unsigned long long limit = std::numeric_limits<unsigned long long>::max();
  return b > limit - a ? limit : a + b;
}

}  // namespace

RecordReplay::RecordReplay(pwr::MessageSink& sink) : sink_(sink) {}

void RecordReplay::record(const json::Value& value) {
  switch (place_) {
    case Place::Header:
      header(value);
      place_ = Place::System;
      return;
    case Place::System:
      if (typeOf(value) != "system") throw StreamError("the system record is missing before this");
      system(value);
      return;
    case Place::Body:
      message(typeOf(value), value);
      return;
    case Place::Behind:
      throw StreamError("a record behind the stop record");
  }
}

bool RecordReplay::plainSample(std::string_view line) {
  if (place_ != Place::Body) return false;
  pwr::Metric* const metric = plainSample_.read(line);
  if (metric == nullptr) return false;
  noteEnd(*metric);
  sink_.metric(*metric);
  return true;
}

void RecordReplay::header(const json::Value& value) {
  if (!value.IsObject() || !value.HasMember("type") || typeOf(value) != names::kStreamType) {
    throw StreamError(kNoHeader);
  }
  const JsonObject record(value, "record", {"type", "version"});
  const auto version = json::integer<unsigned int>(record.require("version"), "version");
  if (version < names::kOldestVersion || version > names::kStreamVersion) {
    throw StreamError("version " + std::to_string(version) + " of the format is not supported");
  }
}

void RecordReplay::system(const json::Value& value) {
  metadata_.edit() = systemrecord::readSystem(value);
  place_ = Place::Body;
  sink_.system(metadata_);
}

void RecordReplay::stop(const json::Value& value) {
  systemrecord::readStop(value, metadata_.edit());
  place_ = Place::Behind;
}

void RecordReplay::message(std::string_view type, const json::Value& value) {
  using Read = void (RecordReplay::*)(const json::Value&);
  static constexpr std::pair<std::string_view, Read> kReads[] = {
      {"sample", &RecordReplay::sample},
      {"row", &RecordReplay::row},
      {"remainder", &RecordReplay::remainder},
      {"definition", &RecordReplay::definition},
      {"container", &RecordReplay::container},
      {"text", &RecordReplay::text},
      {"id", &RecordReplay::id},
      {"flush", &RecordReplay::flush},
      {"stop", &RecordReplay::stop},
  };
  for (const auto& [name, read] : kReads) {
    if (name == type) return (this->*read)(value);
  }
  if (definitions_.read(type, value)) return;
  throw StreamError("unknown type of record: \"" + std::string(type) + "\"");
}

void RecordReplay::sample(const json::Value& value) {
  const JsonObject record(value, "sample", {"type", "metric", "time", "elements"});
  pwr::Metric& metric = definitions_.table().metric(record.require("metric"), "metric");
  pwr::Metric::DataPoint& point = metric.editData();
  point.timestamp = json::integer<unsigned long long>(record.require("time"), "time");
  elements(record.require("elements"), point.elements);
  noteEnd(metric);
  sink_.metric(metric);
}

void RecordReplay::remainder(const json::Value& value) {
  using Type = pwr::Metric::MetricType;
  const JsonObject record(value, "remainder", {"type", "metric", "elements"});
  pwr::Metric& metric = definitions_.table().metric(record.require("metric"), "metric");
  pwr::Metric::DataPoint& point = metric.editData();
  point.timestamp = 0;
  point.elements.clear();
  if (const json::Value* const items = record.find("elements")) elements(*items, point.elements);
  const Type type = metric.getMetricType();
  if (!point.elements.empty() && type != Type::SampledDelta && type != Type::SampledResidency) {
    json::fail("metric", "not of kind delta or residency");
  }
  sink_.remainder(metric);
}

void RecordReplay::elements(const json::Value& value,
                            std::vector<pwr::DataElement>& elements) const {
  const json::Value::ConstArray items = json::array(value, "elements");
  if (items.Size() > PlainSample::kMostElements) json::fail("elements", "too long");
  elements.clear();
  for (const json::Value& item : items) elements.push_back(element(item));
}

pwr::DataElement RecordReplay::element(const json::Value& value) const {
  const DefinitionTable& known = definitions_.table();
  if (!value.IsArray()) return {known.data(value, "elements"), nullptr, nullptr, 0};
  const json::Value::ConstArray items = value.GetArray();
  const rapidjson::SizeType count = items.Size();
  if (count < 1 || count > 5) json::fail("elements", "not of elements with 1 to 5 items");
  const auto given = [&](rapidjson::SizeType i) { return i < count && !items[i].IsNull(); };
  const pwr::EntityHandle* const entity = given(1) ? known.entity(items[1], "elements") : nullptr;
  const pwr::DataDescriptor* const descriptor =
      given(2) ? known.descriptor(items[2], "elements") : nullptr;
  const unsigned long long duration =
      given(3) ? json::integer<unsigned long long>(items[3], "elements") : 0;
  pwr::DataElement element(known.data(items[0], "elements"), descriptor, entity, duration);
  if (count == 5) addRareParts(items[4], element);
  return element;
}

void RecordReplay::addRareParts(const json::Value& value, pwr::DataElement& element) const {
  const DefinitionTable& known = definitions_.table();
  const JsonObject parts(value, "elements", {"korvell", "attributes", "info"});
  if (const json::Value* const id = parts.find("korvell")) {
    element.setKorvellDescriptor(known.descriptor(*id, "korvell"));
  }
  if (const json::Value* const pairs = parts.find("attributes")) {
    element.setAttributes(
        std::make_shared<const pwr::AttributeValueManager>(known.attributes(*pairs, "attributes")));
  }
  if (parts.find("info") == nullptr) return;
  auto info = std::make_shared<pwr::DynamicAttributeValueManager>();
  parts.forEach("info", [&](const json::Value& item) {
    const json::Value::ConstArray pair = json::array(item, "info", 2);
    info->addAttributeValue(known.handle(pair[0], "info")->getId(), known.data(pair[1], "info"));
  });
  element.setAdditionalInfo(std::move(info));
}

/// The durations of rates are not in ticks.
void RecordReplay::noteEnd(const pwr::Metric& metric) {
  const unsigned long long start = metric.getData().timestamp;
  latestEnd_ = std::max(latestEnd_, start);
  if (pwr::isRate(metric.getQuantity())) return;
  for (const pwr::DataElement& element : metric.getData().elements) {
    latestEnd_ = std::max(latestEnd_, addSaturated(start, element.getDuration()));
  }
}

std::vector<pwr::Data> RecordReplay::cells(const json::Value& value,
                                           const pwr::TableDescription& table) const {
  const json::Value::ConstArray items = json::array(value, "cells");
  if (items.Size() > table.cellsPerRow()) {
    throw StreamError("the row has " + std::to_string(items.Size()) + " cells, its table " +
                      std::to_string(table.cellsPerRow()));
  }
  std::vector<pwr::Data> cells;
  cells.reserve(items.Size());
  for (const json::Value& item : items) {
    cells.push_back(definitions_.table().data(item, "cells"));
  }
  return cells;
}

void RecordReplay::definition(const json::Value& value) {
  const JsonObject record(value, "definition", {"type", "table"});
  const auto& table = definitions_.table().table(record.require("table"), "table");
  sink_.table(pwr::TableMessage(table));
}

void RecordReplay::row(const json::Value& value) {
  const JsonObject record(value, "row", {"type", "table", "cells"});
  const auto& table = definitions_.table().table(record.require("table"), "table");
  sink_.table(pwr::TableMessage(table, cells(record.require("cells"), *table)));
}

void RecordReplay::container(const json::Value& value) {
  const JsonObject record(
      value, "container",
      {"type", "container", "feature", "name", "heading", "notes", "table", "cells"});
  pwr::MetricContainerDescription description;
  description.containerId = record.integer<unsigned int>("container");
  description.featureName = record.text("feature");
  description.metricName = record.text("name");
  description.heading = record.text("heading");
  description.notes = readNotes(record);
  const json::Value* const row = record.find("cells");
  const json::Value* const tableId =
      row != nullptr ? &record.require("table") : record.find("table");
  if (tableId != nullptr) {
    const auto& table = definitions_.table().table(*tableId, "table");
    description.table = row == nullptr
                            ? std::make_shared<const pwr::TableMessage>(table)
                            : std::make_shared<const pwr::TableMessage>(table, cells(*row, *table));
  }
  sink_.container(pwr::MetricContainerInfoMessage(std::move(description)));
}

void RecordReplay::text(const json::Value& value) {
  const JsonObject record(value, "text", {"type", "kind", "text"});
  const std::string text = record.text("text");
  const bool isHeader = record.named("kind", names::kTexts) == pwr::TextMessageKind::Header;
  const auto message =
      isHeader ? std::make_unique<pwr::HeaderTextMessage>() : std::make_unique<pwr::TextMessage>();
  message->setMessage(text);
  sink_.text(*message);
}

void RecordReplay::id(const json::Value& value) {
  const JsonObject record(value, "id", {"type", "value", "name"});
  sink_.id(pwr::IdMessage(record.integer<unsigned long long>("value"), record.text("name")));
}

void RecordReplay::flush(const json::Value& value) {
  const JsonObject record(value, "flush", {"type"});
  sink_.flush();
}

void RecordReplay::complete() {
  if (place_ != Place::Body) return;
  pwr::SystemDescription& description = metadata_.edit();
  const unsigned long long start = description.collectionStartTimestamp;
  description.collectionStopTimestamp = std::max(start, latestEnd_);
  if (metadata_.getTscFrequencyMHz() == 0.0F) return;
  const auto ticks = static_cast<double>(description.collectionStopTimestamp - start);
  description.collectionDurationSec = ticks / (1e6 * metadata_.getTscFrequencyMHz());
}

}  // namespace tavrin
