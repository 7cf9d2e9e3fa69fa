#include "exporters/html/SeriesJson.h"

#include <algorithm>
#include <array>
#include <optional>

#include "exporters/html/PageText.h"
#include "exporters/html/SeriesData.h"
#include "writers/common/StateDepth.h"
#include "writers/host/Quantity.h"

namespace {

/// In the order of `MetricRole`.
constexpr std::array<const char*, 10> kRoles{
    "power",       "idle",        "cpuTime",       "task",        "frequency",
    "temperature", "processTime", "processEnergy", "deviceState", "other"};

const char* kindText(const PageSeries& series, bool isBinned) {
  switch (series.kind) {
    case SeriesKind::Value:
      return "value";
    case SeriesKind::States:
      return "states";
    default:
      // The events of an aggregate are counted.
      return series.members > 0 && !isBinned ? "value" : "events";
  }
}

bool hasDepths(MetricRole role) {
  return role == MetricRole::Idle || role == MetricRole::CpuTime;
}

/// Of a state that is not known by its name: idle states are numbered from the lightest on.
double depthByPlace(std::size_t place, std::size_t states) {
  constexpr double kLightest = 0.3;
  return kLightest +
         (1.0 - kLightest) * static_cast<double>(place + 1) / static_cast<double>(states);
}

std::optional<double> depthOf(const MetricSeries& metric, std::size_t state) {
  if (!hasDepths(metric.meaning.role)) return std::nullopt;
  const auto& names = metric.states.texts();
  if (!metric.meaning.restState.empty() && state == metric.restState) return 0.0;
  const auto known = stateDepth(names[state]);
  return known ? known : depthByPlace(state, names.size());
}

/// What the values are: where they are a growth, their rate.
std::string titleOfMetric(const MetricSeries& metric) {
  const pwr::Quantity* rate = nullptr;
  double factor = 0.0;
  const pwr::Quantity* const quantity = metric.metric->quantity;
  if (metric.meaning.role == MetricRole::Power && quantity != nullptr &&
      quantity->getRateConversion(rate, factor) == 0) {
    std::string title;
    rate->toTitleString(title);
    if (!title.empty()) return pageText(title);
  }
  return pageText(metric.metric->name);
}

}  // namespace

void SeriesJson::write(const std::vector<std::string>& data) {
  json_.beginArray("series");
  for (std::size_t n = 0; n < data.size(); ++n) writeSeries(*store_.shown()[n], data[n]);
  json_.endArray();
  writeStateSets();
}

std::string SeriesJson::labelOf(const PageSeries& series) {
  const MetricSeries& metric = *series.metric;
  const std::string title = series.isOfMetric ? titleOfMetric(metric) : "metrics";
  const int entity = entities_.numberOf(series);
  const std::string thing =
      entity < 0 ? std::string() : entities_.entities()[static_cast<std::size_t>(entity)].name;
  if (series.members > 0) {
    const std::string others = std::to_string(series.members) + " others: " + title;
    return thing.empty() ? others : thing + " " + others;
  }
  std::string label = thing.empty() ? title : thing + " " + title;
  const bool isTold = metric.descriptors > 1 || thing.empty();
  if (isTold && series.descriptor != nullptr &&
      series.descriptor->getName() != metric.metric->name) {
    label += " " + pageText(series.descriptor->getName());
  }
  return label;
}

void SeriesJson::writeSeries(const PageSeries& series, const std::string& data) {
  const MetricSeries& metric = *series.metric;
  const char* const kind = kindText(series, store_.isBinned());
  json_.beginObject();
  json_.member("metric", series.isOfMetric ? pageText(metric.metric->name) : std::string());
  json_.member("feature", series.isOfMetric ? pageText(metric.metric->featureTag) : std::string());
  json_.member("entity", static_cast<double>(entities_.numberOf(series)));
  json_.member("descriptor", series.descriptor == nullptr ? std::string()
                                                          : pageText(series.descriptor->getName()));
  json_.member("label", labelOf(series));
  json_.member("kind", kind);
  json_.member("role", kRoles[static_cast<std::size_t>(metric.meaning.role)]);
  json_.member("points", static_cast<double>(series.totals.points()));
  if (series.members > 0) json_.member("aggregate", static_cast<double>(series.members));
  if (series.kind == SeriesKind::Events) {
    writeTexts(series);
  } else if (series.kind == SeriesKind::Value) {
    writeScale(series);
  } else {
    json_.member("unit", "");
    json_.member("states", static_cast<double>(stateSetOf(metric)));
  }
  json_.rawMember("data", "{" + data + "}");
  json_.endObject();
}

void SeriesJson::writeScale(const PageSeries& series) {
  const ValueScale& scale = series.metric->meaning.scale;
  json_.member("unit", pageText(scale.unit));
  if (scale.factor != 1.0) json_.member("factor", scale.factor);
  if (scale.isRate) {
    json_.member("rate", true);
    json_.member("totalUnit", pageText(scale.totalUnit));
    json_.member("totalFactor", scale.totalFactor);
  }
  writeTotals(series, scale);
}

void SeriesJson::writeTotals(const PageSeries& series, const ValueScale& scale) {
  const SeriesTotals& totals = series.totals;
  if (totals.hasRange()) {
    json_.member("minimum", totals.minimum());
    json_.member("maximum", totals.maximum());
  }
  if (scale.isRate) {
    json_.member("sum", totals.sum() * scale.totalFactor);
  } else {
    json_.member("mean", totals.mean() * scale.factor);
  }
}

void SeriesJson::writeTexts(const PageSeries& series) {
  json_.member("unit", series.members > 0 ? "/s" : "");
  if (store_.isBinned()) return;
  if (series.members > 0) {
    json_.member("rate", true);
    json_.member("totalUnit", "");
    json_.member("totalFactor", 1.0);
    return json_.member("sum", static_cast<double>(series.totals.points()));
  }
  json_.beginArray("texts");
  for (const std::string& text : textsOf(series)) json_.text(text);
  json_.endArray();
}

std::size_t SeriesJson::stateSetOf(const MetricSeries& metric) {
  const auto [place, isNew] = setNumbers_.try_emplace(&metric, sets_.size());
  if (isNew) sets_.push_back(&metric);
  return place->second;
}

void SeriesJson::writeStateSets() {
  json_.beginArray("stateSets");
  for (const MetricSeries* const metric : sets_) {
    json_.beginArray();
    for (std::size_t state = 0; state < metric->states.texts().size(); ++state) {
      const std::optional<double> depth = depthOf(*metric, state);
      json_.beginObject();
      json_.member("name", metric->states.texts()[state]);
      json_.rawMember("depth", depth ? jsonNumber(*depth) : "null");
      json_.endObject();
    }
    json_.endArray();
  }
  json_.endArray();
}
