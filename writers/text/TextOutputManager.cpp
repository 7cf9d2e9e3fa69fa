#include "writers/text/TextOutputManager.h"

#include <deque>
#include <filesystem>
#include <system_error>
#include <unordered_set>

#include "hostcommon/Utf8Path.h"
#include "writers/common/TextLog.h"
#include "writers/host/WriterInterfaceConfigFileParser.h"

namespace {

/// The absolute path of the directory of a file; "" when the system cannot tell it.
std::string directoryOf(const std::string& file) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(pwr::pathFromUtf8(file), error);
  return error ? std::string() : pwr::utf8FromPath(absolute.parent_path());
}

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
  directory_.setParent(directoryOf(path));
  return 0;
}

TextOutputManager::Staged TextOutputManager::stage(OutputMap& outputs, std::uint64_t key,
                                                   TempTableOutput::Kind kind,
                                                   std::size_t cellsPerRow) {
  if (const auto found = outputs.find(key); found != outputs.end()) {
    return {found->second.get(), false};
  }
  auto output = TempTableOutput::create(directory_, kind, cellsPerRow);
  if (output == nullptr) {
    complete_ = false;
    return {nullptr, false};
  }
  return {outputs.emplace(key, std::move(output)).first->second.get(), true};
}

int TextOutputManager::checkStaging(const TempTableOutput& output) {
  if (output.getWriteError() == 0) return 0;
  complete_ = false;
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
  if (!report_.isOpen()) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Output file does not exist!\n");
    return 1;
  }
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
  if (report_.close() != 0) complete_ = false;
  release();
  return complete_ ? 0 : 1;
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
      merge(*text->second);
      texts_.erase(text);
    }
  }
  for (const auto& [key, text] : texts_) merge(*text);
}

void TextOutputManager::mergeContainer(ContainerId container, bool withHeading) {
  const auto* const heading = findOrNull(headings_, container);
  if (heading != nullptr && withHeading) {
    report_.append(*heading);
    report_.append("\n\n");
  }
  const auto* const notes = findOrNull(containerNotes_, container);
  writeNotes(notes, &pwr::TextNotes::getPreTableNotes);
  mergeTables(descriptions_, container);
  mergeTables(tables_, container);
  writeNotes(notes, &pwr::TextNotes::getPostTableNotes);
}

void TextOutputManager::mergeTables(const OutputMap& outputs, ContainerId container) {
  for (auto entry = outputs.lower_bound(tableKey(container, 0));
       entry != outputs.end() && entry->first >> 32U == container; ++entry) {
    const auto& [key, output] = *entry;
    // The notes belong to the table's rows; a table that has only a description keeps them there.
    const bool describedOnly = &outputs == &descriptions_ && !tables_.contains(key);
    const bool withNotes = &outputs == &tables_ || describedOnly;
    const auto* const notes = withNotes ? findOrNull(tableNotes_, key) : nullptr;
    writeNotes(notes, &pwr::TextNotes::getPreTableNotes);
    merge(*output);
    writeNotes(notes, &pwr::TextNotes::getPostTableNotes);
  }
}

void TextOutputManager::merge(TempTableOutput& output) {
  output.endWriting();
  checkStaging(output);
  if (output.mergeInto(report_, separator_) != 0) complete_ = false;
}

void TextOutputManager::writeNotes(const pwr::TextNotes* notes, NoteLines lines) {
  std::vector<std::string> texts;
  if (notes == nullptr || !(notes->*lines)(texts)) return;
  for (const std::string& text : texts) {
    report_.append(text);
    report_.append("\n\n");
  }
}

void TextOutputManager::release() {
  texts_.clear();
  descriptions_.clear();
  tables_.clear();
  directory_.remove();
  arrivalOrder_.reset();
  metricOrder_.clear();
}
