#include "exporters/perfetto/PerfettoWriter.h"
#include "writers/common/PluginList.h"

#if defined(PW_EXPORTER_HTML)
#include "exporters/html/HtmlWriter.h"
#endif

extern "C" {

PW_PLUGIN_EXPORT WriterPluginList* createPlugins(void) {
  // The registry, without the writers that this build leaves out.
  return makePluginList({
#if defined(PW_EXPORTER_HTML)
    new HtmlWriter,
#endif
        new PerfettoWriter,
  });
}

PW_PLUGIN_EXPORT void destroyPlugins(WriterPluginList* list) {
  releasePluginList(list);
}

}  // extern "C"
