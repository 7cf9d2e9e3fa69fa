/* Reads back the results of Tavrin: .ztbin, .ztjson and .pwr files, whichever of them it is.
 *
 *     tavrin_reader* reader = NULL;
 *     const char* file = "run.ztbin";
 *     tavrin_point point;
 *     tavrin_status status = tavrin_open(&file, 1, &reader);
 *     while (status == TAVRIN_OK && (status = tavrin_next(reader, &point)) == TAVRIN_OK) {
 *       tavrin_series series;
 *       tavrin_get_series(reader, point.series, &series);
 *       ...
 *     }
 *     if (status != TAVRIN_END) fprintf(stderr, "%s\n", tavrin_error(reader));
 *     tavrin_close(reader);
 *
 * examples/read_result.c is a whole program. Rules for all functions:
 *
 *  - They return a status, and what they ask for through their last argument, which is left alone
 *    unless the status is TAVRIN_OK. No exception leaves them, memory that runs out is a status.
 *  - A reader, and all that belongs to it, is for one thread at a time; several readers are
 *    independent of each other.
 *  - Texts belong to the reader and stay until it is closed, unless said otherwise. They are UTF-8
 * as far as the program that was measured kept to it, not terminated, and may have NULs in them.
 *  - Lists only grow while points are read: an index that was valid remains so and means the same.
 *
 * Structures and functions of one version of the library (TAVRIN_READER_VERSION) do not change;
 * what is added has new names. */
#ifndef TAVRIN_READER_H
#define TAVRIN_READER_H

#include <stddef.h> /* NOLINT(modernize-deprecated-headers): for C, too */
#include <stdint.h> /* NOLINT(modernize-deprecated-headers) */

#if defined(_WIN32)
#if defined(TAVRIN_READER_BUILD)
#define TAVRIN_READER_API __declspec(dllexport)
#else
#define TAVRIN_READER_API __declspec(dllimport)
#endif
#else
#define TAVRIN_READER_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

#define TAVRIN_READER_VERSION 1

/** An index that leads nowhere. */
#define TAVRIN_NONE UINT32_MAX

typedef enum tavrin_status {
  TAVRIN_OK = 0,
  TAVRIN_END = 1,   /**< there is no further point */
  TAVRIN_FAULT = 2, /**< a file cannot be read or is not sound: `tavrin_error` names the place */
  TAVRIN_NO_MEMORY = 3, /**< the reader can only be closed now */
  TAVRIN_MISUSE = 4     /**< a null pointer, or an index that is too large */
} tavrin_status;

typedef enum tavrin_format {
  TAVRIN_BINARY_STREAM = 0, /**< .ztbin */
  TAVRIN_JSON_TRACE = 1,    /**< .ztjson of a whole run */
  TAVRIN_NUMBERED_JSON = 2, /**< .ztjson of a continuous run */
  TAVRIN_TIMELINE = 3       /**< .pwr */
} tavrin_format;

typedef enum tavrin_kind {
  TAVRIN_SAMPLED_DELTA = 0,     /**< growth of a counter during the duration */
  TAVRIN_SAMPLED_RESIDENCY = 1, /**< time in a state during the duration */
  TAVRIN_SAMPLED_VALUE = 2,     /**< a reading */
  TAVRIN_TRACED_TRANSITION = 3, /**< a change to a new value, which lasts for the duration */
  TAVRIN_TRACED_EVENT = 4,
  TAVRIN_UNKNOWN_KIND = 5
} tavrin_kind;

typedef struct tavrin_reader tavrin_reader;
typedef struct tavrin_block tavrin_block;

typedef struct tavrin_text {
  const char* data; /**< not terminated; never null */
  size_t length;    /**< bytes */
} tavrin_text;

typedef struct tavrin_clock {
  int in_microseconds; /**< times are microseconds from the start of the collection, not ticks */
  double mhz;          /**< ticks per microsecond; 0 for unknown */
  uint64_t start;      /**< of the collection, ticks */
  uint64_t stop;       /**< its end, ticks; 0 for unknown */
  double duration_sec; /**< 0 for unknown */
  uint64_t start_ns;   /**< nanoseconds since 1970 (UTC); 0 for unknown */
} tavrin_clock;

typedef struct tavrin_metric {
  tavrin_text name;
  tavrin_text feature;   /**< empty for unknown, like all texts below */
  tavrin_text kind_name; /**< as the file calls the kind */
  tavrin_text quantity;
  tavrin_text units; /**< of the values */
  tavrin_kind kind;
  int64_t number; /**< that the file gives it */
  size_t states;  /**< number of states that it can take, see `tavrin_get_state` */
} tavrin_metric;

typedef struct tavrin_entity {
  tavrin_text qualified_name; /**< "Package0/Core1/CPU1" */
  tavrin_text name;           /**< "CPU1"; the qualified one where the file has only that */
  tavrin_text level;          /**< "Thread"; empty for unknown */
  uint32_t parent;            /**< an entity, or TAVRIN_NONE */
} tavrin_entity;

/** Points with one meaning. */
typedef struct tavrin_series {
  uint32_t metric;
  uint32_t entity;        /**< TAVRIN_NONE for values of the metric as a whole */
  tavrin_text descriptor; /**< "C6"; empty for none */
  tavrin_text label;      /**< how the file calls what was measured */
} tavrin_series;

typedef struct tavrin_point {
  uint64_t time;   /**< ticks or microseconds, see `tavrin_clock` */
  double duration; /**< microseconds; of a rate in its own unit; NaN for unknown */
  double value;    /**< NaN for a text */
  uint32_t series;
  uint32_t text; /**< index for `tavrin_get_text`, TAVRIN_NONE for a number */
} tavrin_point;

/** The version that the library has: TAVRIN_READER_VERSION of its header. */
TAVRIN_READER_API int tavrin_reader_version(void);

/** Opens the file of a run, or the numbered ones of a continuous run in their order, and reads up
 * to the first point. Their content decides what they are. Names are UTF-8. A reader is handed out
 *  also when the status is TAVRIN_FAULT, for `tavrin_error`, and has to be closed; a null pointer
 *  with TAVRIN_NO_MEMORY and TAVRIN_MISUSE. */
TAVRIN_READER_API tavrin_status tavrin_open(const char* const* files, size_t count,
                                            tavrin_reader** reader);
/** Of what was opened; a null pointer is allowed. Blocks stay. */
TAVRIN_READER_API void tavrin_close(tavrin_reader* reader);
/** What the last TAVRIN_FAULT was about, "run.ztbin: offset 64: expected …", with a NUL at the end;
 *  empty when there was none. Stays until the reader is closed. */
TAVRIN_READER_API const char* tavrin_error(const tavrin_reader* reader);

/** The next point. After TAVRIN_FAULT, what was read before can still be asked for, and every
 *  further call returns it again. */
TAVRIN_READER_API tavrin_status tavrin_next(tavrin_reader* reader, tavrin_point* point);

/** The next points as columns, at most `most` of them, 0 for all that are left. A fault comes with
 *  the call after the one that hands out the points before it. The block is the caller's. */
TAVRIN_READER_API tavrin_status tavrin_read_block(tavrin_reader* reader, size_t most,
                                                  tavrin_block** block);
/** The columns of a block, all of the same length, with the meaning that the members of
 *  `tavrin_point` have. They stay where they are until the block is freed. */
TAVRIN_READER_API size_t tavrin_block_size(const tavrin_block* block);
TAVRIN_READER_API const uint64_t* tavrin_block_times(const tavrin_block* block);
TAVRIN_READER_API const double* tavrin_block_durations(const tavrin_block* block);
TAVRIN_READER_API const uint32_t* tavrin_block_series(const tavrin_block* block);
TAVRIN_READER_API const double* tavrin_block_values(const tavrin_block* block);
TAVRIN_READER_API const uint32_t* tavrin_block_texts(const tavrin_block* block);
/** A null pointer is allowed. Also after the reader was closed. */
TAVRIN_READER_API void tavrin_block_free(tavrin_block* block);

/* What was read so far. */
TAVRIN_READER_API tavrin_status tavrin_get_format(const tavrin_reader* reader,
                                                  tavrin_format* format);
TAVRIN_READER_API tavrin_status tavrin_get_clock(const tavrin_reader* reader, tavrin_clock* clock);
/** 0 where there is no reader, like the counts that follow. */
TAVRIN_READER_API size_t tavrin_metric_count(const tavrin_reader* reader);
TAVRIN_READER_API tavrin_status tavrin_get_metric(const tavrin_reader* reader, size_t index,
                                                  tavrin_metric* metric);
TAVRIN_READER_API tavrin_status tavrin_get_state(const tavrin_reader* reader, size_t metric,
                                                 size_t index, tavrin_text* state);
TAVRIN_READER_API size_t tavrin_entity_count(const tavrin_reader* reader);
TAVRIN_READER_API tavrin_status tavrin_get_entity(const tavrin_reader* reader, size_t index,
                                                  tavrin_entity* entity);
TAVRIN_READER_API size_t tavrin_series_count(const tavrin_reader* reader);
TAVRIN_READER_API tavrin_status tavrin_get_series(const tavrin_reader* reader, size_t index,
                                                  tavrin_series* series);
TAVRIN_READER_API size_t tavrin_text_count(const tavrin_reader* reader);
TAVRIN_READER_API tavrin_status tavrin_get_text(const tavrin_reader* reader, size_t index,
                                                tavrin_text* text);
/** Facts of the machine and the collection: how many the last file has, and their names and values.
 *  The texts stay until the facts are gathered again. */
TAVRIN_READER_API tavrin_status tavrin_gather_facts(tavrin_reader* reader, size_t* count);
TAVRIN_READER_API tavrin_status tavrin_get_fact(const tavrin_reader* reader, size_t index,
                                                tavrin_text* name, tavrin_text* value);

#ifdef __cplusplus
}
#endif

#endif
