#include "exporters/perfetto/PerfettoWriter.h"
#include "writers/common/PluginList.h"

extern "C" {

PW_PLUGIN_EXPORT WriterPluginList* createPlugins(void) {
  // The registry, without the writers that this build leaves out.
  return makePluginList({new PerfettoWriter});
}

PW_PLUGIN_EXPORT void destroyPlugins(WriterPluginList* list) {
  releasePluginList(list);
}

}  // extern "C"
