// A plugin library as others write it, with one writer, "probe". Its file BASE.probe tells which
// options it was offered, a line each.

#include "hostcommon/OutputFile.h"
#include "writers/common/RunWriter.h"
#include "writers/host/WriterPluginList.h"

namespace {

const WriterLog& probeLog() {
  static const WriterLog log("");
  return log;
}

class ProbeRun {
 public:
  int open(const std::string& baseName, const std::string& text) {
    return file_.open(baseName + ".probe") && file_.write(text) ? 0 : 1;
  }
  int close() { return file_.close(); }

 private:
  pwr::OutputFile file_;
};

class ProbeWriter final : public RunWriter<ProbeRun> {
 public:
  ProbeWriter()
      : RunWriter("4f3a5a0e-7c64-4a8e-9c43-0e6b5d0c8f11",
                  new pwr::WriterPluginCapability({}, "probe", "Tell the options", ".probe", false),
                  probeLog(), [this](const std::string& baseName, bool) {
                    auto run = std::make_unique<ProbeRun>();
                    if (run->open(baseName, options_) != 0) run.reset();
                    return run;
                  }) {}

  void handleBroadcastOption(const std::string& option) override { options_ += option + "\n"; }

 private:
  std::string options_;
};

}  // namespace

extern "C" {

PW_PLUGIN_EXPORT WriterPluginList* createPlugins(void) {
  return makePluginList({new ProbeWriter});
}

PW_PLUGIN_EXPORT void destroyPlugins(WriterPluginList* list) {
  releasePluginList(list);
}

}  // extern "C"
