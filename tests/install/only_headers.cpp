#include "writers/host/WriterPlugin.h"
#include "writers/host/WriterPluginList.h"

const char* interfaceVersion() {
  return PW_HOST_INTERFACE_VERSION;
}
