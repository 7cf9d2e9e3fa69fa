#pragma once

/*
 * What the tool uses of libtracefs, whose headers are not all C++. Functions return 0 for success,
 * or null for "not there", and say nothing themselves.
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

#ifdef __cplusplus
}
#endif
