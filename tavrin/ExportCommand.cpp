#include <algorithm>
#include <cstdio>
#include <memory>

#include "tavrin/Commands.h"
#include "tavrin/HostSetup.h"
#include "tavrin/common/Messages.h"
#include "tavrin/import/Recognition.h"
#include "tavrin/platform/Interrupt.h"
#include "tavrin/points/PointTable.h"

namespace tavrin {

namespace {

PointChoice choiceOf(const Options& options) {
  PointChoice choice{
      .format = options.format == "jsonl" ? PointFormat::JsonLines : PointFormat::Csv,
      .metrics = options.metricPatterns,
      .entities = options.entityPatterns,
      .fromSec = options.fromSec,
      .toSec = options.toSec};
  const std::vector<std::string>& names = pointColumnNames();
  for (const std::string& name : options.columns) {
    choice.columns.push_back(
        static_cast<PointColumn>(std::ranges::find(names, name) - names.begin()));
  }
  return choice;
}

}  // namespace

int runExport(const Options& options) {
  setUpHost(options);
  StopRequest stop;
  const Interrupt interrupt(stop);
  const ImportOptions inputs = inRunOrder(options.import);
  const std::unique_ptr<PeekedSource> input = openInput(inputs.files.front(), &stop);
  PointTable table(choiceOf(options), stdout);
  const std::unique_ptr<Import> import = openImport(*input, table, inputs);
  std::string error;
  import->replay(error);
  table.finish();
  return replayStatus(*input, stop, *import, error);
}

}  // namespace tavrin
