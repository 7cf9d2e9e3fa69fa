#include "exporters/perfetto/PerfettoWriter.h"
#include "writers/host/WriterPluginList.h"

#if defined(PW_EXPORTER_HTML)
#include "exporters/html/HtmlWriter.h"
#endif
#if defined(PW_EXPORTER_LINES)
#include "exporters/lines/LinesWriter.h"
#endif
#if defined(PW_EXPORTER_SQLITE)
#include "exporters/sqlite/SqliteWriter.h"
#endif

extern "C" {

PW_PLUGIN_EXPORT WriterPluginList* createPlugins(void) {
  // The registry, without the writers that this build leaves out.
  return makePluginList({
#if defined(PW_EXPORTER_HTML)
    new HtmlWriter,
#endif
#if defined(PW_EXPORTER_LINES)
        new LinesWriter,
#endif
        new PerfettoWriter,
#if defined(PW_EXPORTER_SQLITE)
        new SqliteWriter,
#endif
  });
}

PW_PLUGIN_EXPORT void destroyPlugins(WriterPluginList* list) {
  releasePluginList(list);
}

}  // extern "C"
