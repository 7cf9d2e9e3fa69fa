#pragma once

#include <initializer_list>

#include "writers/host/Plugin.h"
#include "writers/host/WriterPluginList.h"

/// Marks the two functions that a plugin library exports.
#if defined(_WIN32)
#define PW_PLUGIN_EXPORT __declspec(dllexport)
#else
#define PW_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

/// What `createPlugins` returns: the list that owns the writers. Null, and the writers are gone,
/// when memory ran out.
WriterPluginList* makePluginList(std::initializer_list<Plugin*> writers);

/// What `destroyPlugins` does: destroys the writers and the list. Null is allowed.
void releasePluginList(WriterPluginList* list);
