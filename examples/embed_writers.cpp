// How a collector of one's own uses the writers: load the plugin library, pick a writer, describe
// the table, deliver its rows, close. Linked with libhostcommon; the plugin library is loaded at
// run time.
//
//   embed_writers BASE    writes BASE.csv

#include <dlfcn.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/host/WriterPlugin.h"
#include "writers/host/WriterPluginList.h"

namespace {

constexpr unsigned int kFanContainer = 1;

/// A table of the average speed of each fan.
std::shared_ptr<const pwr::TableDescription> describeTable() {
  const pwr::Quantity* const speed = pwr::createQuantity(
      {.type = pwr::QuantityType::Other, .name = "Rotation Speed", .units = "RPM"});
  pwr::TableDescription table;
  table.containerId = kFanContainer;
  table.tableId = 1;
  table.title = "Fan Speed";
  table.quantity = speed;  // the title shows its unit
  table.handles = {pwr::createColumn("Fan", nullptr), pwr::createColumn("Average", nullptr)};
  return std::make_shared<const pwr::TableDescription>(std::move(table));
}

int writeReport(WriterPlugin& writer, const std::string& baseName) {
  if (writer.openOutput(baseName, false) != 0) return 1;

  pwr::SystemDescription system;
  system.hostName = "example";
  system.timestampClockFrequencyMHz = 1000;
  const pwr::SystemMetadata metadata(std::move(system));  // must live until the writer is closed
  WriterDispatch::write(writer, pwr::SystemMessage(&metadata));
  WriterDispatch::write(writer, pwr::MetricContainerInfoMessage({.containerId = kFanContainer,
                                                                 .featureName = "fans",
                                                                 .metricName = "Fan Speed",
                                                                 .heading = "Fans"}));
  const auto table = describeTable();
  WriterDispatch::write(writer, pwr::TableMessage(table, {pwr::Data("Front"), pwr::Data(1200.5)}));
  WriterDispatch::write(writer, pwr::TableMessage(table, {pwr::Data("Rear"), pwr::Data(899.25)}));
  return writer.closeOutput();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s BASE\n", argv[0]);
    return 2;
  }
  const auto path =
      std::filesystem::read_symlink("/proc/self/exe").replace_filename("libtavrin_writers.so");
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  const auto create = reinterpret_cast<CreatePluginsFunction>(dlsym(library, "createPlugins"));
  const auto destroy = reinterpret_cast<DestroyPluginsFunction>(dlsym(library, "destroyPlugins"));
  WriterPluginList* const list = create();
  auto* const summaryWriter = dynamic_cast<WriterPlugin*>(list->plugins[0]);
  const int status = writeReport(*summaryWriter, argv[1]);
  destroy(list);
  dlclose(library);
  return status;
}
