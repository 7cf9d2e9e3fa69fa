#include "tavrin/tracing/TraceApi.h"

#include <tracefs.h>

#include <event-parse.h>

void trace_api_quiet(void) {
  tracefs_set_loglevel(TEP_LOG_NONE);
  tep_set_loglevel(TEP_LOG_NONE);
}

const char* trace_api_folder(void) {
  return tracefs_tracing_dir();
}

struct tracefs_instance* trace_api_make_instance(const char* name) {
  return tracefs_instance_create(name);
}

void trace_api_release_instance(struct tracefs_instance* instance) {
  tracefs_instance_free(instance);
}

int trace_api_write(struct tracefs_instance* instance, const char* file, const char* text) {
  return tracefs_instance_file_write(instance, file, text) < 0 ? 1 : 0;
}

int trace_api_enable_event(struct tracefs_instance* instance, const char* system,
                           const char* event) {
  return tracefs_event_enable(instance, system, event) < 0 ? 1 : 0;
}
