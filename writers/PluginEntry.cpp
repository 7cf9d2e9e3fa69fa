#include "writers/columns/IntWriterV2.h"
#include "writers/columns/PhmTextWriter.h"
#include "writers/columns/RawWriterV2.h"
#include "writers/continuous/BinaryWriter.h"
#include "writers/continuous/JSONWriter.h"
#include "writers/host/WriterPluginList.h"
#include "writers/text/AutoWriter.h"
#include "writers/text/SummaryWriter.h"
#include "writers/timeline/KorvellWriter.h"

extern "C" {

PW_PLUGIN_EXPORT WriterPluginList* createPlugins(void) {
  // The registry. Its order is part of the library's interface: hosts take the first writer as the
  // default output.
  return makePluginList({
      new SummaryWriter,
      new KorvellWriter,
      new JSONWriter,
      new BinaryWriter,
      new RawWriterV2,
      new IntWriterV2,
      new PhmTextWriter,
      new AutoWriter,
  });
}

PW_PLUGIN_EXPORT void destroyPlugins(WriterPluginList* list) {
  releasePluginList(list);
}

}  // extern "C"
