#include "writers/columns/OverTimeEvents.h"

#include <algorithm>

#include "writers/columns/TableFile.h"
#include "writers/columns/TraceRun.h"
#include "writers/common/CsvText.h"

namespace {

/// Appends a text in which `special` characters mean something, each behind a backslash.
void appendEscaped(std::string& out, std::string_view text, std::string_view special) {
  for (const char character : text) {
    if (special.find(character) != std::string_view::npos) out += '\\';
    out += character;
  }
}

/// Appends "name=value" to a list of such pairs.
void appendPair(std::string& list, std::string_view name, std::string_view value) {
  if (!list.empty()) list += ';';
  appendEscaped(list, name, "\\;=");
  list += '=';
  appendEscaped(list, value, "\\;");
}

}  // namespace

bool OverTimeEvents::open(const std::string& path, const char* timeColumn,
                          const char* durationColumn) {
  if (!createOutput(file_, path)) return false;
  file_.write(std::string(timeColumn) + ",Metric,Entity,Descriptor,Value," + durationColumn +
              ",Attributes\n");
  return true;
}

void OverTimeEvents::add(const pwr::Metric& metric, const pwr::DataElement& element,
                         std::string_view time, std::string_view duration) {
  const Known& known = knownByMetric_[metric.getId()].find(
      element.getEntity(), element.getDescriptor(), [&] { return makeKnown(metric, element); });
  line_.assign(time).append(known.cells);
  if (known.series->take(*element.getValue(), text_)) appendCsvText(line_, text_);
  line_.append(",").append(duration) += ',';
  listAttributes(metric, element);
  appendCsvText(line_, attributes_);
  file_.write(line_ += '\n');
}

OverTimeEvents::Known OverTimeEvents::makeKnown(const pwr::Metric& metric,
                                                const pwr::DataElement& element) {
  const pwr::DataDescriptor* const descriptor = element.getDescriptor();
  std::string cells = ",";
  appendCsvText(cells, names_.nameOf(metric.getDescription()));
  appendCsvText(cells += ',', names_.nameOf(element.getEntity()));
  cells += ',';
  if (descriptor != nullptr) appendCsvText(cells, descriptor->getName());
  cells += ',';
  return {&series_.emplace_back(OverTimeSeries{.metric = metric.getDescription(),
                                               .entity = element.getEntity(),
                                               .descriptor = descriptor,
                                               .quantity = metric.getQuantity()}),
          std::move(cells)};
}

/// The event's own attributes, then those of its entity that it has no value of its own for.
void OverTimeEvents::listAttributes(const pwr::Metric& metric, const pwr::DataElement& element) {
  attributes_.clear();
  listed_.clear();
  if (element.getAttributes() != nullptr) listAttributes(*element.getAttributes());
  if (element.getAdditionalInfo() != nullptr) {
    for (const auto& [id, value] : *element.getAdditionalInfo()) {
      const pwr::DataHandle* attribute = nullptr;
      const char* const problem = formatDynamic(attribute, text_, id, value, &pwr::Data::toString);
      if (problem == nullptr) {
        listAttribute(*attribute);
      } else {
        run_.tell(problem, metric, element.getEntity(), element.getDescriptor());
      }
    }
  }
  if (element.getEntity() != nullptr) listAttributes(element.getEntity()->getAttributes());
}

void OverTimeEvents::listAttributes(const pwr::AttributeValueManager& attributes) {
  for (const auto& [attribute, value] : attributes) {
    if (value.toString(text_) == 0) listAttribute(*attribute);
  }
}

/// Lists the attribute with `text_` for a value, unless it is listed.
void OverTimeEvents::listAttribute(const pwr::DataHandle& attribute) {
  if (std::ranges::find(listed_, &attribute) != listed_.end()) return;
  listed_.push_back(&attribute);
  appendPair(attributes_, attribute.getFieldName(), text_);
}
