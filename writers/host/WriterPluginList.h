#pragma once

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <new>

#include "writers/host/HostApi.h"

class Plugin;

/// Marks the two functions that a plugin library exports.
#if defined(_WIN32)
#define PW_PLUGIN_EXPORT __declspec(dllexport)
#else
#define PW_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

/// What the file of a plugin library contains, followed by the version of the host interface that
/// it was made for and a semicolon: a host reads the version before it loads the library.
#define PW_PLUGIN_MARK "Tavrin plugin library for host interface "
[[gnu::used]] inline constexpr char kPluginMark[] = PW_PLUGIN_MARK PW_HOST_INTERFACE_VERSION ";";

/// What `createPlugins` returns and `destroyPlugins` takes back.
struct WriterPluginList {
  std::int32_t count;
  Plugin** plugins;  ///< `count` pointers in registry order, allocated with malloc

  /// Takes its storage from malloc, because the list is made with `new` and released with `free`.
  static void* operator new(std::size_t size) {
    for (;;) {
      if (void* storage = std::malloc(size)) return storage;
      const std::new_handler handler = std::get_new_handler();
      if (handler == nullptr) throw std::bad_alloc();
      handler();
    }
  }
  static void operator delete(void* storage) noexcept { std::free(storage); }
};

/// What `createPlugins` returns: the list that owns the writers. Null, and the writers are gone,
/// when memory ran out.
PW_HOST_API WriterPluginList* makePluginList(std::initializer_list<Plugin*> writers);

/// What `destroyPlugins` does: destroys the writers and the list. Null is allowed.
PW_HOST_API void releasePluginList(WriterPluginList* list);

extern "C" {
/// `createPlugins`, exported by the plugin library: builds one instance of every writer. The caller
/// owns the list until it passes it to `destroyPlugins`. Null when memory ran out.
using CreatePluginsFunction = WriterPluginList* (*)();
/// `destroyPlugins`, exported by the plugin library: destroys the writers of the list and the list.
/// Null is allowed; the same list twice is not.
using DestroyPluginsFunction = void (*)(WriterPluginList*);
}
