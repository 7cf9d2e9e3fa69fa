#include "tavrin/stream/StreamWriter.h"

#include "tavrin/stream/DefinitionWriter.h"
#include "tavrin/stream/SystemRecord.h"
#include "tavrin/stream/ValueWriter.h"
#include "writers/host/Attribute.h"
#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"

namespace tavrin {

/// The units that write one stream, and what several messages have in common.
class StreamWriter::Recorder {
 public:
  explicit Recorder(FILE* stream) : records(stream) {}

  void need(const pwr::TableMessage& table);
  void need(const pwr::DataElement& element);
  void cells(const pwr::TableMessage& table);
  void beginOf(const pwr::Metric& metric, std::string_view type);
  void elements(const pwr::Metric& metric);
  void element(const pwr::DataElement& element);

  RecordWriter records;
  unsigned long long cpus = 0;  // of the system record
  StreamIds ids;
  ValueWriter values{records, ids};
  DefinitionWriter definitions{records, ids, values};

 private:
  void needInfo(const pwr::DynamicAttributeValueManager& info);
  void rareParts(const pwr::DataElement& element);
  void info(const pwr::DynamicAttributeValueManager& info);
};

void StreamWriter::Recorder::need(const pwr::TableMessage& table) {
  definitions.need(table.getDescription());
  for (const pwr::Data& cell : table.getCells()) definitions.need(cell);
}

void StreamWriter::Recorder::need(const pwr::DataElement& element) {
  definitions.need(*element.getValue());
  definitions.need(element.getDescriptor());
  definitions.need(element.getKorvellDescriptor());
  definitions.need(element.getEntity());
  if (element.getAttributes() != nullptr) definitions.need(*element.getAttributes());
  if (element.getAdditionalInfo() != nullptr) needInfo(*element.getAdditionalInfo());
}

void StreamWriter::Recorder::needInfo(const pwr::DynamicAttributeValueManager& info) {
  for (const auto& [key, value] : info) {
    const pwr::DataHandle* attribute = nullptr;
    if (pwr::DataHandle::get(key, attribute) != 0) continue;
    definitions.need(attribute);
    definitions.need(value);
  }
}

/// Values under a key that no handle has are left out: no writer could name them.
void StreamWriter::Recorder::info(const pwr::DynamicAttributeValueManager& info) {
  records.key("info");
  records.beginArray();
  for (const auto& [key, value] : info) {
    const pwr::DataHandle* attribute = nullptr;
    if (pwr::DataHandle::get(key, attribute) == 0) values.attribute(*attribute, value);
  }
  records.endArray();
}

void StreamWriter::Recorder::rareParts(const pwr::DataElement& element) {
  records.beginObject();
  values.reference("korvell", element.getKorvellDescriptor());
  if (element.getAttributes() != nullptr) {
    values.attributes("attributes", *element.getAttributes());
  }
  if (element.getAdditionalInfo() != nullptr) info(*element.getAdditionalInfo());
  records.endObject();
}

/// A value alone, or an array whose last items are left out where they say nothing.
void StreamWriter::Recorder::element(const pwr::DataElement& element) {
  const bool rare = element.getKorvellDescriptor() != nullptr ||
                    element.getAttributes() != nullptr || element.getAdditionalInfo() != nullptr;
  const bool duration = rare || element.getDuration() != 0;
  const bool descriptor = duration || element.getDescriptor() != nullptr;
  const bool entity = descriptor || element.getEntity() != nullptr;
  if (!entity) return values.data(*element.getValue());
  records.beginArray();
  values.data(*element.getValue());
  values.reference(element.getEntity());
  if (descriptor) values.reference(element.getDescriptor());
  if (duration) records.integer(element.getDuration());
  if (rare) rareParts(element);
  records.endArray();
}

/// Defines what the metric's record needs and begins it.
void StreamWriter::Recorder::beginOf(const pwr::Metric& metric, std::string_view type) {
  definitions.need(metric.getDescription());
  for (const pwr::DataElement& element : metric.getData().elements) need(element);
  definitions.write();
  records.begin(type);
  records.required("metric", definitions.idOf(*metric.getDescription()));
}

void StreamWriter::Recorder::elements(const pwr::Metric& metric) {
  records.key("elements");
  records.array(metric.getData().elements, [this](const pwr::DataElement& one) { element(one); });
}

void StreamWriter::Recorder::cells(const pwr::TableMessage& table) {
  if (table.getTableMessageType() != pwr::TableMessageType::Row) return;
  records.key("cells");
  records.array(table.getCells(), [this](const pwr::Data& cell) { values.data(cell); });
}

StreamWriter::StreamWriter(FILE* stream) : recorder_(std::make_unique<Recorder>(stream)) {}

StreamWriter::~StreamWriter() = default;

void StreamWriter::define(const std::vector<const pwr::MetricDescription*>& metrics) {
  for (const pwr::MetricDescription* metric : metrics) recorder_->definitions.need(metric);
  recorder_->definitions.write();
}

void StreamWriter::system(const pwr::SystemMetadata& metadata) {
  RecordWriter& records = recorder_->records;
  records.begin(names::kStreamType);
  records.required("version", names::kStreamVersion);
  records.end();
  systemrecord::writeSystem(records, metadata);
  recorder_->cpus = metadata.getTopTree().getNumThreads();
}

void StreamWriter::container(const pwr::MetricContainerInfoMessage& message) {
  RecordWriter& records = recorder_->records;
  const pwr::TableMessage* const table = message.getTable();
  unsigned long long tableId = 0;
  if (table != nullptr) {
    recorder_->need(*table);
    recorder_->definitions.write();
    tableId = recorder_->definitions.writeTable(*table);
  }
  records.begin("container");
  records.member("container", message.getContainerId());
  records.member("feature", message.getFeatureName());
  records.member("name", message.getMetricName());
  records.member("heading", message.getHeading());
  recorder_->values.notes(message.getTextNotes());
  if (table != nullptr) {
    records.required("table", tableId);
    recorder_->cells(*table);
  }
  records.end();
}

void StreamWriter::metric(pwr::Metric& metric) {
  recorder_->beginOf(metric, "sample");
  recorder_->records.required("time", metric.getData().timestamp);
  recorder_->elements(metric);
  recorder_->records.end();
}

void StreamWriter::remainder(pwr::Metric& metric) {
  recorder_->beginOf(metric, "remainder");
  if (!metric.getData().elements.empty()) recorder_->elements(metric);
  recorder_->records.end();
}

void StreamWriter::table(const pwr::TableMessage& message) {
  RecordWriter& records = recorder_->records;
  recorder_->need(message);
  recorder_->definitions.write();
  const unsigned long long id = recorder_->definitions.writeTable(message);
  const bool row = message.getTableMessageType() == pwr::TableMessageType::Row;
  records.begin(row ? "row" : "definition");
  records.required("table", id);
  recorder_->cells(message);
  records.end();
}

void StreamWriter::text(const pwr::TextMessage& message) {
  RecordWriter& records = recorder_->records;
  records.begin("text");
  records.member("kind", message.getKind(), names::kTexts);
  records.member("text", message.getMessage());
  records.end();
}

void StreamWriter::id(const pwr::IdMessage& message) {
  RecordWriter& records = recorder_->records;
  records.begin("id");
  records.member("value", message.getId());
  records.member("name", message.getName());
  records.end();
}

void StreamWriter::flush() {
  recorder_->records.begin("flush");
  recorder_->records.end();
}

void StreamWriter::stop(const pwr::SystemMetadata& metadata) {
  systemrecord::writeStop(recorder_->records, metadata, recorder_->cpus);
}

int StreamWriter::close() {
  return recorder_->records.flush();
}

}  // namespace tavrin
