#pragma once

/*
 * What the tool uses of libtracefs and libtraceevent, whose headers are not all C++. Functions
 * return 0 for success, or null for "not there", and say nothing themselves.
 */
#ifdef __cplusplus
extern "C" {
#endif

/* Keeps the libraries from printing. */
void trace_api_quiet(void);

/* The folder of tracefs, which is mounted if that is needed and allowed; null without one. Not to
   be freed. */
const char* trace_api_folder(void);

struct tracefs_instance;
/* Makes the instance, or takes one that exists; errno tells why not. */
struct tracefs_instance* trace_api_make_instance(const char* name);
/* Forgets the instance, which goes on existing. */
void trace_api_release_instance(struct tracefs_instance* instance);
/* Writes to a file of the instance. */
int trace_api_write(struct tracefs_instance* instance, const char* file, const char* text);
int trace_api_enable_event(struct tracefs_instance* instance, const char* system,
                           const char* event);

/* Where a field is in the record of an event. */
struct trace_api_field {
  unsigned int offset;
  unsigned int size;
  int is_signed;
  int is_dynamic;  /* holds where the content is */
  int is_relative; /* ... counted from the end of the field */
};

struct tep_handle;
struct tep_handle* trace_api_new_formats(void);
void trace_api_free_formats(struct tep_handle* formats);
/* Parses the text of an event's "format" file. Returns the event's id, or -1. */
int trace_api_parse_format(struct tep_handle* formats, const char* system, const char* text,
                           unsigned long size);
/* Finds a field, also one that all events have, of a parsed event. */
int trace_api_find_field(struct tep_handle* formats, int event, const char* name,
                         struct trace_api_field* field);

struct kbuffer;
struct kbuffer* trace_api_new_page(void);
void trace_api_free_page(struct kbuffer* page);
/* Begins to read the page at `bytes`, which stay the caller's. */
int trace_api_load_page(struct kbuffer* page, void* bytes);
/* Whether events are missing between the page before and this one. */
int trace_api_has_lost(struct kbuffer* page);
/* The present event and its time; null at the end of the page. */
const void* trace_api_event(struct kbuffer* page, unsigned long long* time, unsigned long* size);
void trace_api_next_event(struct kbuffer* page);

#ifdef __cplusplus
}
#endif
