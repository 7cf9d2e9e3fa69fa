#pragma once

#include <cstdint>
#include <cstdlib>
#include <new>

class Plugin;

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

extern "C" {
/// `createPlugins`, exported by the plugin library: builds one instance of every writer. The caller
/// owns the list until it passes it to `destroyPlugins`. Null when memory ran out.
using CreatePluginsFunction = WriterPluginList* (*)();
/// `destroyPlugins`, exported by the plugin library: destroys the writers of the list and the list.
/// Null is allowed; the same list twice is not.
using DestroyPluginsFunction = void (*)(WriterPluginList*);
}
