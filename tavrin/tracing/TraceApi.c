#include "tavrin/tracing/TraceApi.h"

#include <tracefs.h>

#include <event-parse.h>
#include <kbuffer.h>

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

struct tep_handle* trace_api_new_formats(void) {
  return tep_alloc();
}

void trace_api_free_formats(struct tep_handle* formats) {
  tep_free(formats);
}

int trace_api_parse_format(struct tep_handle* formats, const char* system, const char* text,
                           unsigned long size) {
  struct tep_event* event = NULL;
  if (tep_parse_format(formats, &event, text, size, system) != TEP_ERRNO__SUCCESS || !event) {
    return -1;
  }
  return event->id;
}

int trace_api_find_field(struct tep_handle* formats, int event, const char* name,
                         struct trace_api_field* field) {
  struct tep_event* known = tep_find_event(formats, event);
  const struct tep_format_field* found = known ? tep_find_any_field(known, name) : NULL;
  if (!found) return 1;
  field->offset = (unsigned int)found->offset;
  field->size = (unsigned int)found->size;
  field->is_signed = (found->flags & TEP_FIELD_IS_SIGNED) != 0;
  field->is_dynamic = (found->flags & TEP_FIELD_IS_DYNAMIC) != 0;
  field->is_relative = (found->flags & TEP_FIELD_IS_RELATIVE) != 0;
  return 0;
}

struct kbuffer* trace_api_new_page(void) {
  const unsigned short one = 1;
  const int is_little = *(const unsigned char*)&one == 1;
  return kbuffer_alloc(sizeof(long) == 8 ? KBUFFER_LSIZE_8 : KBUFFER_LSIZE_4,
                       is_little ? KBUFFER_ENDIAN_LITTLE : KBUFFER_ENDIAN_BIG);
}

void trace_api_free_page(struct kbuffer* page) {
  kbuffer_free(page);
}

int trace_api_load_page(struct kbuffer* page, void* bytes) {
  return kbuffer_load_subbuffer(page, bytes) < 0 ? 1 : 0;
}

int trace_api_has_lost(struct kbuffer* page) {
  return kbuffer_missed_events(page) != 0;
}

const void* trace_api_event(struct kbuffer* page, unsigned long long* time, unsigned long* size) {
  const void* event = kbuffer_read_event(page, time);
  if (event) *size = (unsigned long)kbuffer_event_size(page);
  return event;
}

void trace_api_next_event(struct kbuffer* page) {
  unsigned long long time = 0;
  kbuffer_next_event(page, &time);
}
