#include <algorithm>
#include <cstdlib>

#include "writers/host/Plugin.h"
#include "writers/host/WriterPluginList.h"

// The list is made with new and released with free, by agreement with the hosts; its operator new
// takes the storage from malloc.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

WriterPluginList* makePluginList(std::initializer_list<Plugin*> writers) {
  auto* const list = new WriterPluginList;
  list->count = static_cast<std::int32_t>(writers.size());
  // At least one place: that of a list without writers is not mistaken for a failure.
  list->plugins =
      static_cast<Plugin**>(std::calloc(std::max<std::size_t>(writers.size(), 1), sizeof(void*)));
  if (list->plugins == nullptr) {
    for (Plugin* const writer : writers) delete writer;
    std::free(list);
    return nullptr;
  }
  std::copy(writers.begin(), writers.end(), list->plugins);
  return list;
}

void releasePluginList(WriterPluginList* list) {
  if (list == nullptr) return;
  if (list->plugins != nullptr) {
    for (std::int32_t i = 0; i < list->count; ++i) delete list->plugins[i];
    std::free(list->plugins);
  }
  std::free(list);
}
