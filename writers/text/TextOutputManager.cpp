#include "writers/text/TextOutputManager.h"

#include <deque>
#include <unordered_set>

#include "hostcommon/Utf8Path.h"
#include "writers/common/TextLog.h"
#include "writers/host/WriterInterfaceConfigFileParser.h"

namespace {

template <typename Map, typename Key>
auto* findOrNull(const Map& map, const Key& key) {
  const auto found = map.find(key);
  return found == map.end() ? nullptr : &found->second;
}

}  // namespace

TextOutputManager::TextOutputManager(std::string extension, std::string separator)
    : extension_(std::move(extension)),
      separator_(std::move(separator)),
      configParser_(WriterInterfaceConfigFileParser::instance()) {}

int TextOutputManager::open(const std::string& baseName) {
  const std::string path = baseName + extension_;
  if (!report_.open(path)) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Could not create %s\n", path.c_str());
    return 1;
  }
  // Absolute, because the process may change its directory while the run lasts.
  directory_.setParent(pwr::utf8FromPath(pwr::pathFromUtf8(pwr::absolutePath(path)).parent_path()));
  return 0;
}

TextOutputManager::Staged TextOutputManager::stage(OutputMap& outputs, std::uint64_t key,
                                                   TempTableOutput::Kind kind,
                                                   std::size_t cellsPerRow) {
  if (const auto found = outputs.find(key); found != outputs.end()) {
    return {found->second.get(), false};
  }
  auto output = TempTableOutput::create(directory_, kind, cellsPerRow);
  if (output == nullptr) report_.noteLoss();
  // One that cannot be created is not tried again for each of its rows.
  const auto place = outputs.emplace(key, std::move(output)).first;
  return {place->second.get(), place->second != nullptr};
}

int TextOutputManager::checkStaging(const TempTableOutput& output) {
  if (output.getWriteError() == 0) return 0;
  report_.noteLoss();
  // Whatever keeps one file from being written tends to hit all others.
  if (!stagingFailureLogged_) {
    stagingFailureLogged_ = true;
    PW_LOG(
        kPlainLog, PW_LOG_ERROR,
        "ERROR: Could not write temp file %s: %s. The table \"%s\" is incomplete, and others may "
        "be.\n",
        output.getPath().c_str(), systemErrorText(output.getWriteError()).c_str(),
        output.getTitle().c_str());
  }
  return 1;
}

void TextOutputManager::setOrder(std::vector<ContainerId> arrivalOrder,
                                 MetricOrderMap metricOrder) {
  arrivalOrder_ = std::move(arrivalOrder);
  metricOrder_ = std::move(metricOrder);
}

int TextOutputManager::close() {
  if (!arrivalOrder_) {
    PW_LOG(kTextLog, PW_LOG_WARNING,
           "WARNING: Metric ordering information does not exist. Cannot proceed!\n");
    return 1;
  }
  const std::vector<ContainerId> order = finalOrder();
  mergeTexts();
  std::optional<ContainerId> previous;
  for (const ContainerId container : order) {
    mergeContainer(container, container != previous);
    previous = container;
  }
  return report_.close();
}

std::vector<std::string> TextOutputManager::configuredFeatures() const {
  std::deque<std::string> features;
  if (!configParser_->getFeatureOrder(features)) {
    PW_LOG(kPlainLog, PW_LOG_DEBUG,
           "DEBUG: Feature switch order entries not present in the output config file.\n"
           "Using the list of all feature switches present in the output file.\n");
    if (!configParser_->getAllFeaturePrefixes(features)) {
      PW_LOG(kPlainLog, PW_LOG_ERROR,
             "ERROR: No entries present for metrics in the output config file. Shouldn't "
             "happen!\n");
    }
  }
  return {features.begin(), features.end()};
}

std::vector<TextOutputManager::ContainerId> TextOutputManager::finalOrder() const {
  std::vector<ContainerId> order;
  std::unordered_set<ContainerId> waiting(arrivalOrder_->begin(), arrivalOrder_->end());
  for (const std::string& feature : configuredFeatures()) {
    const auto* const containers = findOrNull(metricOrder_, feature);
    std::deque<std::string> metrics;
    if (containers == nullptr || !configParser_->getMetricOrderForFeature(metrics, feature)) {
      continue;
    }
    for (const std::string& metric : metrics) {
      const auto* const container = findOrNull(*containers, metric);
      if (container != nullptr && waiting.erase(*container) != 0) order.push_back(*container);
    }
  }
  for (const ContainerId container : *arrivalOrder_) {
    if (waiting.contains(container)) order.push_back(container);
  }
  return order;
}

void TextOutputManager::mergeTexts() {
  for (const std::uint64_t first : {kHeaderText, kOtherText}) {
    if (const auto text = texts_.find(first); text != texts_.end()) {
      merge(text->second.get());
      texts_.erase(text);
    }
  }
  for (const auto& [key, text] : texts_) merge(text.get());
}

void TextOutputManager::mergeContainer(ContainerId container, bool withHeading) {
  const auto* const heading = findOrNull(headings_, container);
  if (heading != nullptr && withHeading) {
    report_.append(*heading);
    report_.append("\n\n");
  }
  const auto* const notes = findOrNull(containerNotes_, container);
  writeNotes(notes, &pwr::TextNotes::getPreTableNotes);
  mergeTables(descriptions_, container, false);
  // The notes of a table stand around what came as a message, not around its description.
  mergeTables(tables_, container, true);
  writeNotes(notes, &pwr::TextNotes::getPostTableNotes);
}

void TextOutputManager::mergeTables(const OutputMap& outputs, ContainerId container,
                                    bool withNotes) {
  for (auto entry = outputs.lower_bound(tableKey(container, 0));
       entry != outputs.end() && entry->first >> 32U == container; ++entry) {
    const auto& [key, output] = *entry;
    const auto* const notes = withNotes ? findOrNull(tableNotes_, key) : nullptr;
    writeNotes(notes, &pwr::TextNotes::getPreTableNotes);
    merge(output.get());
    writeNotes(notes, &pwr::TextNotes::getPostTableNotes);
  }
}

/// Null stands for one that could not be created.
void TextOutputManager::merge(TempTableOutput* output) {
  if (output == nullptr) return;
  output->flush();
  checkStaging(*output);
  if (output->mergeInto(report_, separator_) != 0) report_.noteLoss();
}

void TextOutputManager::writeNotes(const pwr::TextNotes* notes, NoteLines lines) {
  std::vector<std::string> texts;
  if (notes == nullptr || !(notes->*lines)(texts)) return;
  for (const std::string& text : texts) {
    report_.append(text);
    report_.append("\n\n");
  }
}
