// A recorded stream, replayed into all writers. One that is refused is refused with a cause; the
// outputs are complete either way.

#include <vector>

#include "fuzz/FuzzTarget.h"
#include "tavrin/Session.h"
#include "tavrin/platform/InputFile.h"
#include "tavrin/stream/StreamReader.h"
#include "writers/host/WriterPluginList.h"

extern "C" {
WriterPluginList* createPlugins(void);
void destroyPlugins(WriterPluginList* list);
}

namespace {

void replay(const std::vector<WriterPlugin*>& writers) {
  tavrin::InputFile input("input.jsonl");
  tavrin::Session session(writers);
  session.beforeSystem([&] { session.open("run", false); });
  tavrin::StreamReader reader(input, session);
  std::string error;
  const int status = reader.replay(error);
  if (!session.finish().empty() || (status == 0) != error.empty()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::QuietLog log(size);
  fuzz::workFolder().write("input.jsonl", std::string(data, data + size));
  std::filesystem::remove("Automation_Summary.csv");  // every run adds to it
  WriterPluginList* const list = createPlugins();
  std::vector<WriterPlugin*> writers;
  writers.reserve(static_cast<std::size_t>(list->count));
  for (int n = 0; n < list->count; ++n) {
    writers.push_back(dynamic_cast<WriterPlugin*>(list->plugins[n]));
  }
  replay(writers);
  destroyPlugins(list);
  return 0;
}
