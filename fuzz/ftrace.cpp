// A recording of the kernel's events as text, imported with all its events into totals. One that is
// refused is refused with a cause.

#include "fuzz/FuzzTarget.h"
#include "hostcommon/summary/SummaryTables.h"
#include "tavrin/common/MetricSink.h"
#include "tavrin/import/FtraceImport.h"
#include "tavrin/platform/InputFile.h"

namespace {

/// Adds up, and demands what writers rely on.
class Totals : public tavrin::MetricSink {
 public:
  void system(const pwr::SystemMetadata& metadata) override { metadata_ = &metadata; }
  void metric(pwr::Metric& metric) override {
    if (metadata_ == nullptr) std::abort();
    for (const pwr::DataElement& element : metric.getData().elements) {
      if (element.getDescriptor() == nullptr) std::abort();
    }
    tables_.add(metric);
  }

  void finish() {
    if (metadata_ == nullptr) return;
    tables_.deliver(
        *metadata_, [](const pwr::MetricContainerInfoMessage&) {}, [](const pwr::TableMessage&) {});
  }

 private:
  const pwr::SystemMetadata* metadata_ = nullptr;
  pwr::SummaryTables tables_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::QuietLog log(size);
  const std::string text(data, data + size);
  tavrin::FtraceImport::isOurs(text, false);
  fuzz::workFolder().write("trace.txt", text);
  tavrin::InputFile input("trace.txt");
  Totals totals;
  tavrin::FtraceImport import(input, {"*"}, totals);
  std::string error;
  if ((import.replay(error) == 0) != error.empty()) std::abort();
  import.warnings();
  totals.finish();
  return 0;
}
