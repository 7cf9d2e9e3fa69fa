// A writer of one's own, in a plugin library: BASE.count tells how many values each metric has.
//
//   tavrin record -d 1s --plugin ./libcount_writer.so -w count -o run    writes run.count

#include <map>
#include <string>

#include "writers/host/PluginCapability.h"
#include "writers/host/PluginEnvironment.h"
#include "writers/host/WriterPlugin.h"
#include "writers/host/WriterPluginList.h"

namespace {

class CountWriter final : public WriterPlugin {
 public:
  // The id is of this writer alone (uuidgen makes one).
  CountWriter() : WriterPlugin("6d9f5d52-8f0c-4b7a-9a45-0f6f7f0a3b10") {
    addCapability(new pwr::WriterPluginCapability({}, "count", "Count the values of each metric",
                                                  ".count", false));
  }

  // A file of the host's: it gets its name when it is complete, and the host tells what failed.
  int openOutput(const std::string& baseName, bool /*continuous*/) override {
    counts_.clear();
    file_ = g_pluginEnvironment->getFileOutputHandle((baseName + ".count").c_str());
    return file_ != nullptr ? 0 : 1;
  }

  int closeOutput() override {
    std::string text;
    for (const auto& [name, count] : counts_) text += std::to_string(count) + '\t' + name + '\n';
    file_->write(text.data(), text.size());  // a failure is remembered
    return file_->close();
  }

 private:
  // The messages that a writer does not take are ignored.
  int writeMessage(const pwr::Metric& metric) override {
    counts_[metric.getName()] += metric.getData().elements.size();
    return 0;
  }

  pwr::Logger* file_ = nullptr;
  std::map<std::string, std::size_t> counts_;
};

}  // namespace

extern "C" {

PW_PLUGIN_EXPORT WriterPluginList* createPlugins() {
  return makePluginList({new CountWriter});
}

PW_PLUGIN_EXPORT void destroyPlugins(WriterPluginList* list) {
  releasePluginList(list);
}

}  // extern "C"
