#include "exporters/html/PageDocument.h"

#include <algorithm>
#include <vector>

#include "exporters/html/PageEntities.h"
#include "exporters/html/PageFacts.h"
#include "exporters/html/PageJson.h"
#include "exporters/html/PageWarnings.h"
#include "exporters/html/SeriesData.h"
#include "exporters/html/SeriesJson.h"

namespace {

/// The points of all series, packed, and where those of each are.
struct PagePoints {
  std::vector<std::string> series;
  std::string packed;
  std::size_t bytes = 0;
  bool isComplete = false;
};

PagePoints packPoints(const SeriesStore& store, std::size_t mostPacked) {
  DataPacker packer(mostPacked);
  ColumnWriter columns(packer);
  PagePoints points;
  points.series.reserve(store.shown().size());
  for (const PageSeries* const series : store.shown()) {
    if (packer.isFull()) return points;
    points.series.push_back(store.isBinned() ? binnedData(store, *series, columns)
                                             : exactData(*series, columns));
  }
  points.bytes = packer.size();
  points.packed = packer.finish();
  points.isComplete = !packer.isFull();
  return points;
}

void writeEntities(PageJson& json, const PageEntities& entities) {
  json.beginArray("entities");
  for (const PageEntities::Entity& entity : entities.entities()) {
    json.beginObject();
    json.member("name", entity.name);
    json.member("path", entity.path);
    json.member("parent", static_cast<double>(entity.parent));
    json.member("level", entity.level);
    json.endObject();
  }
  json.endArray();
}

void writeTables(PageJson& json, const PageTables& tables) {
  json.beginArray("tables");
  for (const PageTables::Table& table : tables.tables()) {
    json.beginObject();
    json.member("feature", table.feature);
    json.member("title", table.title);
    json.beginArray("notes");
    for (const std::string& note : table.notes) json.text(note);
    json.endArray();
    json.beginArray("columns");
    for (const PageTables::Column& column : table.columns) {
      json.beginObject();
      json.member("name", column.name);
      json.member("numeric", column.hasNumbers && !column.hasTexts);
      json.endObject();
    }
    json.endArray();
    json.rawMember("rows", "[" + table.rows + "]");
    json.endObject();
  }
  json.endArray();
}

void writeDataFacts(PageJson& json, const SeriesStore& store, std::size_t bytes) {
  json.key("data");
  json.beginObject();
  json.member("packing", DataPacker::packing());
  json.member("bytes", static_cast<double>(bytes));
  json.member("mode", store.isBinned() ? "binned" : "exact");
  if (store.isBinned()) {
    const long long origin = store.binned().grid().origin();
    if (origin != 0) json.member("fromSec", static_cast<double>(origin) / store.ticksPerSecond());
    json.beginArray("levels");
    for (const PageLevel& level : levelsOf(store)) {
      json.beginObject();
      json.member("binSec", level.binSeconds);
      json.member("bins", static_cast<double>(level.bins));
      json.endObject();
    }
    json.endArray();
  }
  json.endObject();
}

void writeWarnings(PageJson& json, const PageContent& content, std::size_t processesLeftOut) {
  json.beginArray("warnings");
  for (const std::string& warning :
       warningsOf(content.system, content.store, content.recorder, content.tables)) {
    json.text(warning);
  }
  if (processesLeftOut > 0) {
    json.text(std::to_string(processesLeftOut) +
              " processes are not listed on this page: those that used little or ended early");
  }
  json.endArray();
}

std::string runJson(const PageContent& content, const PagePoints& points) {
  constexpr double kMega = 1e6;
  constexpr double kFormat = 1.0;
  const SeriesStore& store = content.store;
  PageJson json;
  json.beginObject();
  json.member("format", kFormat);
  json.member("title", titleOf(content.system));
  json.member("durationSec", static_cast<double>(store.duration()) / store.ticksPerSecond());
  const unsigned long long startNs =
      content.system == nullptr ? 0 : content.system->getCollectionStartTimeNs();
  json.member("startUnixNs", startNs == 0 ? std::string() : std::to_string(startNs));
  json.member("clockMHz", store.ticksPerSecond() / kMega);
  json.key("facts");
  content.system == nullptr ? json.raw("[]") : writeFacts(json, *content.system);
  PageEntities entities(content.system);
  SeriesJson series(json, entities, store);
  series.write(points.series);
  writeEntities(json, entities);
  json.key("processes");
  const std::size_t left = writeProcesses(json, content.system, entities, store.ticksPerSecond());
  writeWarnings(json, content, left);
  writeTables(json, content.tables);
  writeDataFacts(json, store, points.bytes);
  json.endObject();
  return withoutMarkup(json.json());
}

/// Makes the points take less room. False when that is not possible.
bool makeSmaller(SeriesStore& store) {
  constexpr std::size_t kFewestBins = 16;
  if (!store.isBinned()) {
    store.toBins();
    return true;
  }
  if (store.binned().grid().binsTo(store.duration()) <= kFewestBins) return false;
  store.binned().halve();
  return true;
}

std::string asHtml(std::string_view text) {
  std::string html;
  for (const char character : text) {
    if (character == '<') {
      html += "&lt;";
    } else if (character == '&') {
      html += "&amp;";
    } else {
      html += character;
    }
  }
  return html;
}

}  // namespace

PageDocument makeDocument(const PageContent& content, std::size_t mostBytes) {
  const std::size_t frame = frameBytes();
  const std::size_t room = mostBytes > frame ? mostBytes - frame : 0;
  PageDocument document{.title = asHtml(titleOf(content.system))};
  for (;;) {
    const PagePoints points = packPoints(content.store, room / 4 * 3);
    if (points.isComplete) {
      document.run = runJson(content, points);
      document.points = base64(points.packed);
      if (document.run.size() + document.points.size() + document.title.size() <= room) {
        return document;
      }
    }
    if (!makeSmaller(content.store)) break;
  }
  const PagePoints points = packPoints(content.store, ~std::size_t{0});
  document.run = runJson(content, points);
  document.points = base64(points.packed);
  return document;
}
