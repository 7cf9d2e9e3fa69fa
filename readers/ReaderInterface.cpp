#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "readers/ResultReader.h"
#include "readers/tavrin_reader.h"

/// What a caller holds. The face is missing where the files could not be opened.
struct tavrin_reader {
  std::unique_ptr<tavrin::ResultReader> face;
  std::string error;
  std::vector<tavrin::Fact> facts;
  bool isBroken = false;  ///< memory has run out
};

struct tavrin_block {
  tavrin::PointColumns columns;
};

namespace {

tavrin_text textOf(std::string_view text) {
  return {text.data() == nullptr ? "" : text.data(), text.size()};
}

/// Does something with a reader: whatever it throws becomes a status.
template <typename Action>
tavrin_status guarded(tavrin_reader& reader, const Action& action) {
  if (reader.isBroken) return TAVRIN_NO_MEMORY;
  try {
    try {
      return action();
    } catch (const tavrin::ResultError& fault) {
      reader.error = fault.what();
      return TAVRIN_FAULT;
    }
  } catch (...) {  // only memory is left, also that for the text of an error
    reader.isBroken = true;
    return TAVRIN_NO_MEMORY;
  }
}

bool canRead(const tavrin_reader* reader) {
  return reader != nullptr && reader->face != nullptr && !reader->isBroken;
}

/// Fills `out` from the element of a list that the reader has.
template <typename List, typename Out, typename Fill>
tavrin_status get(const tavrin_reader* reader, const List& (tavrin::ResultReader::*list)() const,
                  std::size_t index, Out* out, const Fill& fill) {
  if (!canRead(reader) || out == nullptr) return TAVRIN_MISUSE;
  const List& known = ((*reader->face).*list)();
  if (index >= known.size()) return TAVRIN_MISUSE;
  *out = fill(known[index]);
  return TAVRIN_OK;
}

template <typename List>
std::size_t count(const tavrin_reader* reader, const List& (tavrin::ResultReader::*list)() const) {
  return canRead(reader) ? ((*reader->face).*list)().size() : 0;
}

tavrin_metric metricOf(const tavrin::Metric& metric) {
  return {.name = textOf(metric.name),
          .feature = textOf(metric.feature),
          .kind_name = textOf(metric.kindName),
          .quantity = textOf(metric.quantity),
          .units = textOf(metric.units),
          .kind = static_cast<tavrin_kind>(metric.kind),
          .number = metric.number,
          .states = metric.states.size()};
}

}  // namespace

int tavrin_reader_version(void) {
  return TAVRIN_READER_VERSION;
}

tavrin_status tavrin_open(const char* const* files, size_t count, tavrin_reader** reader) {
  if (reader == nullptr) return TAVRIN_MISUSE;
  *reader = nullptr;
  if (files == nullptr && count > 0) return TAVRIN_MISUSE;
  for (size_t i = 0; i < count; ++i) {
    if (files[i] == nullptr) return TAVRIN_MISUSE;
  }
  std::unique_ptr<tavrin_reader> opened(new (std::nothrow) tavrin_reader);
  if (!opened) return TAVRIN_NO_MEMORY;
  const tavrin_status status = guarded(*opened, [&] {
    std::vector<std::string> names(files, files + count);
    opened->face = std::make_unique<tavrin::ResultReader>(std::move(names));
    return TAVRIN_OK;
  });
  if (status != TAVRIN_NO_MEMORY) *reader = opened.release();
  return status;
}

void tavrin_close(tavrin_reader* reader) {
  delete reader;
}

const char* tavrin_error(const tavrin_reader* reader) {
  return reader == nullptr ? "" : reader->error.c_str();
}

tavrin_status tavrin_next(tavrin_reader* reader, tavrin_point* point) {
  if (reader == nullptr || point == nullptr) return TAVRIN_MISUSE;
  if (reader->face == nullptr) return reader->isBroken ? TAVRIN_NO_MEMORY : TAVRIN_FAULT;
  return guarded(*reader, [&] {
    tavrin::Point read;
    if (!reader->face->next(read)) return TAVRIN_END;
    *point = {.time = read.time,
              .duration = read.duration,
              .value = read.value,
              .series = read.series,
              .text = read.text};
    return TAVRIN_OK;
  });
}

tavrin_status tavrin_read_block(tavrin_reader* reader, size_t most, tavrin_block** block) {
  if (reader == nullptr || block == nullptr) return TAVRIN_MISUSE;
  if (reader->face == nullptr) return reader->isBroken ? TAVRIN_NO_MEMORY : TAVRIN_FAULT;
  return guarded(*reader, [&] {
    auto read = std::make_unique<tavrin_block>();
    try {
      reader->face->read(read->columns, most == 0 ? std::numeric_limits<size_t>::max() : most);
    } catch (const tavrin::ResultError&) {
      if (read->columns.time.empty()) throw;  // else with the next call
    }
    if (read->columns.time.empty()) return TAVRIN_END;
    *block = read.release();
    return TAVRIN_OK;
  });
}

size_t tavrin_block_size(const tavrin_block* block) {
  return block == nullptr ? 0 : block->columns.time.size();
}

const uint64_t* tavrin_block_times(const tavrin_block* block) {
  return block == nullptr ? nullptr : block->columns.time.data();
}

const double* tavrin_block_durations(const tavrin_block* block) {
  return block == nullptr ? nullptr : block->columns.duration.data();
}

const uint32_t* tavrin_block_series(const tavrin_block* block) {
  return block == nullptr ? nullptr : block->columns.series.data();
}

const double* tavrin_block_values(const tavrin_block* block) {
  return block == nullptr ? nullptr : block->columns.value.data();
}

const uint32_t* tavrin_block_texts(const tavrin_block* block) {
  return block == nullptr ? nullptr : block->columns.text.data();
}

void tavrin_block_free(tavrin_block* block) {
  delete block;
}

tavrin_status tavrin_get_format(const tavrin_reader* reader, tavrin_format* format) {
  if (!canRead(reader) || format == nullptr) return TAVRIN_MISUSE;
  *format = static_cast<tavrin_format>(reader->face->format());
  return TAVRIN_OK;
}

tavrin_status tavrin_get_clock(const tavrin_reader* reader, tavrin_clock* clock) {
  if (!canRead(reader) || clock == nullptr) return TAVRIN_MISUSE;
  const tavrin::Clock known = reader->face->clock();
  *clock = {.in_microseconds = known.timeUnit == tavrin::TimeUnit::Microseconds ? 1 : 0,
            .mhz = known.mhz.value_or(0.0),
            .start = known.start,
            .stop = known.stop,
            .duration_sec = known.durationSec,
            .start_ns = known.startNs};
  return TAVRIN_OK;
}

size_t tavrin_metric_count(const tavrin_reader* reader) {
  return count(reader, &tavrin::ResultReader::metrics);
}

tavrin_status tavrin_get_metric(const tavrin_reader* reader, size_t index, tavrin_metric* metric) {
  return get(reader, &tavrin::ResultReader::metrics, index, metric, metricOf);
}

tavrin_status tavrin_get_state(const tavrin_reader* reader, size_t metric, size_t index,
                               tavrin_text* state) {
  if (metric >= tavrin_metric_count(reader) || state == nullptr) return TAVRIN_MISUSE;
  const std::vector<std::string_view>& states = reader->face->metrics()[metric].states;
  if (index >= states.size()) return TAVRIN_MISUSE;
  *state = textOf(states[index]);
  return TAVRIN_OK;
}

size_t tavrin_entity_count(const tavrin_reader* reader) {
  return count(reader, &tavrin::ResultReader::entities);
}

tavrin_status tavrin_get_entity(const tavrin_reader* reader, size_t index, tavrin_entity* entity) {
  return get(reader, &tavrin::ResultReader::entities, index, entity,
             [](const tavrin::Entity& known) {
               return tavrin_entity{.qualified_name = textOf(known.qualifiedName),
                                    .name = textOf(known.name),
                                    .level = textOf(known.level),
                                    .parent = known.parent};
             });
}

size_t tavrin_series_count(const tavrin_reader* reader) {
  return count(reader, &tavrin::ResultReader::series);
}

tavrin_status tavrin_get_series(const tavrin_reader* reader, size_t index, tavrin_series* series) {
  return get(reader, &tavrin::ResultReader::series, index, series, [](const tavrin::Series& known) {
    return tavrin_series{.metric = known.metric,
                         .entity = known.entity,
                         .descriptor = textOf(known.descriptor),
                         .label = textOf(known.label)};
  });
}

size_t tavrin_text_count(const tavrin_reader* reader) {
  return count(reader, &tavrin::ResultReader::texts);
}

tavrin_status tavrin_get_text(const tavrin_reader* reader, size_t index, tavrin_text* text) {
  return get(reader, &tavrin::ResultReader::texts, index, text, textOf);
}

tavrin_status tavrin_gather_facts(tavrin_reader* reader, size_t* count) {
  if (!canRead(reader) || count == nullptr) return TAVRIN_MISUSE;
  return guarded(*reader, [&] {
    reader->facts = reader->face->system();
    *count = reader->facts.size();
    return TAVRIN_OK;
  });
}

tavrin_status tavrin_get_fact(const tavrin_reader* reader, size_t index, tavrin_text* name,
                              tavrin_text* value) {
  if (!canRead(reader) || index >= reader->facts.size()) return TAVRIN_MISUSE;
  if (name == nullptr || value == nullptr) return TAVRIN_MISUSE;
  *name = textOf(reader->facts[index].name);
  *value = textOf(reader->facts[index].value);
  return TAVRIN_OK;
}
