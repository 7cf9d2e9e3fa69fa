#include "readers/ZtjsonReader.h"

#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>

#include <algorithm>
#include <charconv>

namespace ztjson {

namespace {

constexpr const char* kSystemName = "SystemMetadata";

/// What stands under the last member of that key: a continuous trace has "Name" twice.
std::string lastText(const JsonNode& object, std::string_view wanted) {
  std::string text;
  object.eachMember([&](std::string_view key, const JsonNode& node) {
    if (key == wanted) text = node.text();
  });
  return text;
}

std::string scalarText(const JsonNode& node) {
  const rapidjson::Value& value = node.value();
  if (value.IsUint64()) return std::to_string(value.GetUint64());
  if (!value.IsNumber()) return std::string(node.text());
  char text[32];
  const auto end = std::to_chars(std::begin(text), std::end(text), value.GetDouble()).ptr;
  return {text, end};
}

/// A single text stands for itself, several in an array.
std::vector<std::string> texts(const JsonNode& node) {
  std::vector<std::string> all;
  if (node.value().IsString()) return {std::string(node.text())};
  node.eachElement([&](const JsonNode& element) { all.emplace_back(element.text()); });
  return all;
}

}  // namespace

ZtjsonReader::ZtjsonReader(std::istream& file) {
  rapidjson::IStreamWrapper stream(file);
  // Iterative: a document must not be able to exhaust the stack by its depth.
  document_.ParseStream<rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag>(
      stream);
  if (document_.HasParseError()) {
    throw FormatError(
        document_.GetErrorOffset(), "a JSON document",
        std::string("a fault: ") + rapidjson::GetParseError_En(document_.GetParseError()));
  }
  const JsonNode root(document_);
  isContinuous_ = root.object().has("Metadata");
  if (isContinuous_) {
    readContinuous(root);
  } else {
    readTrace(root);
  }
}

void ZtjsonReader::readSystem(const JsonNode& groups) {
  groups.eachMember([&](std::string_view /*name*/, const JsonNode& group) {
    group.eachMember([&](std::string_view key, const JsonNode& node) {
      system_.emplace_back(key, scalarText(node));
    });
  });
}

void ZtjsonReader::readTrace(const JsonNode& root) {
  const JsonNode type = root.member("fileType");
  type.require(type.text() == "tavrin", "\"tavrin\"");
  const JsonNode version = root.member("version");
  const JsonNode major = version.object().member("major");
  major.require(major.whole() == 1, "version 1");
  readSystem(root.member("systemMetaData"));
  root.member("data").eachMember(
      [&](std::string_view name, const JsonNode& group) { readGroup(name, group); });
}

void ZtjsonReader::readGroup(std::string_view name, const JsonNode& group) {
  const JsonNode description = group.object().member("metaData");
  Metric metric{.name = std::string(name),
                .kind = std::string(description.object().member("type").text())};
  description.member("altUnits").array();
  if (description.has("units")) metric.units = description.member("units").text();
  if (description.has("states")) metric.states = texts(description.member("states").array());
  metrics_.push_back(std::move(metric));
}

void ZtjsonReader::readContinuous(const JsonNode& root) {
  root.member("Metadata").eachElement([&](const JsonNode& node) {
    if (node.object().member("Name").text() == kSystemName && node.has("Platform")) {
      for (const char* group : {"Platform", "OS", "Tavrin"}) {
        node.member(group).eachMember([&](std::string_view key, const JsonNode& value) {
          system_.emplace_back(key, scalarText(value));
        });
      }
      return;
    }
    const JsonNode id = node.member("ID");
    id.require(id.value().IsInt64(), "a whole number");
    places_.emplace_back(id.value().GetInt64(), metrics_.size());
    metrics_.push_back({.name = lastText(node, "Name"),
                        .feature = std::string(node.member("FeatureName").text()),
                        .kind = std::string(node.member("Type").text()),
                        .units = lastText(node, "Units")});
    if (node.has("States")) metrics_.back().states = texts(node.member("States"));
  });
  std::ranges::sort(places_);
}

void ZtjsonReader::readPoints(const PointSink& sink) const {
  const JsonNode root(document_);
  if (isContinuous_) {
    root.member("Data").eachElement([&](const JsonNode& node) {
      Point point;
      readContinuousPoint(node, point);
      sink(point);
    });
    return;
  }
  std::size_t metric = 0;
  root.member("data").eachMember([&](std::string_view /*name*/, const JsonNode& group) {
    readContainers(metric++, group, sink);
  });
}

void ZtjsonReader::readContinuousPoint(const JsonNode& node, Point& point) const {
  const JsonNode id = node.object().member("ID");
  const auto found =
      std::ranges::lower_bound(places_, id.value().IsInt64() ? id.value().GetInt64() : -1, {},
                               &std::pair<std::int64_t, std::size_t>::first);
  id.require(
      id.value().IsInt64() && found != places_.end() && found->first == id.value().GetInt64(),
      "the ID of a metric in \"Metadata\"");
  point.metric = found->second;
  point.series = node.member("Entity").text();
  point.start = node.member("Timestamp").whole();
  point.duration = node.member("Duration").number();
  point.values.emplace_back(node.member("Descriptor").text(), node.member("Value").number());
}

void ZtjsonReader::readContainers(std::size_t metric, const JsonNode& group,
                                  const PointSink& sink) const {
  group.member("data").eachMember([&](std::string_view name, const JsonNode& container) {
    container.object().member("name").text();
    container.member("friendlyName").text();
    container.member("points").eachElement([&](const JsonNode& node) {
      Point point{.metric = metric, .series = name, .start = node.object().member("x").whole()};
      const JsonNode end = node.member("x1");
      end.require(end.whole() >= point.start, "an end that is not before the start");
      point.duration = static_cast<double>(end.whole() - point.start);
      readValues(metrics_[metric], node, point);
      sink(point);
    });
  });
}

void ZtjsonReader::readValues(const Metric& metric, const JsonNode& node, Point& point) const {
  const JsonNode values = node.member("y");
  if (!values.value().IsObject()) {
    point.values.emplace_back("y", values.number());
    if (node.has("y1")) point.values.emplace_back("y1", node.member("y1").number());
    return;
  }
  values.eachMember([&](std::string_view key, const JsonNode& value) {
    std::size_t state = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), state);
    // A group whose first container has no states does not name those of the others.
    const bool isNamed = !metric.states.empty();
    value.require(error == std::errc() && end == key.data() + key.size() &&
                      (!isNamed || state < metric.states.size()),
                  "an index of \"states\" as key");
    point.values.emplace_back(isNamed ? metric.states[state] : key, value.number());
  });
}

}  // namespace ztjson
