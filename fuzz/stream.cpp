// A recorded stream, replayed into the writers of all plugin libraries. One that is refused is
// refused with a cause; the outputs are complete either way.

#include <vector>

#include "fuzz/FuzzTarget.h"
#include "hostcommon/session/PluginLibraries.h"
#include "hostcommon/session/Session.h"
#include "tavrin/platform/InputFile.h"
#include "tavrin/stream/StreamReader.h"

namespace {

void replay(const std::vector<WriterPlugin*>& writers) {
  tavrin::InputFile input("input.jsonl");
  // For streams without the time of day, which lines cannot do without.
  pwr::Session session(writers, {"--start-time=1"});
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
  static const pwr::PluginLibraries plugins;
  replay(plugins.writers());
  return 0;
}
