#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "writers/columns/IntWriterV2.h"
#include "writers/columns/PhmTextWriter.h"
#include "writers/columns/RawWriterV2.h"
#include "writers/continuous/BinaryWriter.h"
#include "writers/continuous/JSONWriter.h"
#include "writers/host/HostApi.h"
#include "writers/host/Plugin.h"
#include "writers/host/WriterPluginList.h"
#include "writers/text/AutoWriter.h"
#include "writers/text/SummaryWriter.h"
#include "writers/timeline/KorvellWriter.h"

#if defined(_WIN32)
#define PW_PLUGIN_EXPORT __declspec(dllexport)
#else
#define PW_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

// The list is made with new and released with free, by agreement with the hosts; its operator new
// takes the storage from malloc.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

extern "C" {

PW_PLUGIN_EXPORT WriterPluginList* createPlugins(void) {
  // The registry. Its order is part of the library's interface: hosts take the first writer as the
  // default output.
  Plugin* const writers[] = {
      new SummaryWriter, new KorvellWriter, new JSONWriter,    new BinaryWriter,
      new RawWriterV2,   new IntWriterV2,   new PhmTextWriter, new AutoWriter,
  };

  auto* const list = new WriterPluginList;
  list->count = static_cast<std::int32_t>(std::size(writers));
  list->plugins = static_cast<Plugin**>(std::malloc(sizeof writers));
  if (list->plugins == nullptr) {
    std::free(list);
    return nullptr;
  }
  std::copy(std::begin(writers), std::end(writers), list->plugins);
  return list;
}

PW_PLUGIN_EXPORT void destroyPlugins(WriterPluginList* list) {
  if (list == nullptr) return;
  if (list->plugins != nullptr) {
    for (std::int32_t i = 0; i < list->count; ++i) delete list->plugins[i];
    std::free(list->plugins);
  }
  std::free(list);
}

}  // extern "C"
