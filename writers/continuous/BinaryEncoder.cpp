#include "writers/continuous/BinaryEncoder.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "writers/common/LittleEndian.h"
#include "writers/common/MetricTraits.h"
#include "writers/common/TextLog.h"
#include "writers/continuous/ContinuousCommon.h"
#include "writers/host/LogChannels.h"
#include "writers/host/Quantity.h"

namespace {

using ztbin::RecordType;

const WriterLog kIterLog(kIterChannel);
const pwr::SystemMetadata kUnknownSystem;

/// Shared by all encoders of the process.
int g_fileNumber = 0;

void putHeader(std::byte* record, std::size_t recordSize, RecordType type) {
  putLittleEndian(record, static_cast<std::uint16_t>(recordSize - ztbin::kHeaderSize));
  record[ztbin::kTypeOffset] = static_cast<std::byte>(type);
}

/// The text by which a reader tells the series of one descriptor apart.
std::string keyText(const pwr::Metric& metric, const pwr::EntityHandle* entity) {
  return entity == nullptr ? metric.getName() : metric.getName() + "/" + nameOf(entity);
}

/// Without the fraction; what is too large for the type becomes its largest value.
std::uint64_t truncated(double value) {
  constexpr double kLimit = 18446744073709551616.0;
  return value < kLimit ? static_cast<std::uint64_t>(value) : UINT64_MAX;
}

/// What the record of the system has besides its strings.
void putSystemNumbers(std::byte* place, const pwr::SystemMetadata& metadata) {
  namespace record = ztbin::system_record;
  putLittleEndian(place + record::kStartTimestamp,
                  std::uint64_t{metadata.getCollectionStartTimestamp()});
  putLittleEndian(place + record::kStopTimestamp,
                  std::uint64_t{metadata.getCollectionStopTimestamp()});
  putLittleEndian(place + record::kDuration,
                  static_cast<float>(metadata.getCollectionDurationSec()));
  putLittleEndian(place + record::kHfmFrequency, metadata.getHFMFrequencyMHz());
  putLittleEndian(place + record::kLfmFrequency, metadata.getLFMFrequencyMHz());
  putLittleEndian(place + record::kCpuFrequency, metadata.getCPUFrequencyMHz());
  putLittleEndian(place + record::kBusFrequency, metadata.getBusFrequencyMHz());
  putLittleEndian(place + record::kPlatformId, std::uint32_t{metadata.getPlatformId()});
  const auto putCount = [&](std::size_t offset, unsigned long long count) {
    putLittleEndian(place + offset, static_cast<std::uint16_t>(count));
  };
  const pwr::TopTree& topology = metadata.getTopTree();
  putCount(record::kPackages, topology.getNumPackages());
  putCount(record::kModules, topology.getNumModules());
  putCount(record::kCores, topology.getNumCores());
  putCount(record::kThreads, topology.getNumThreads());
}

}  // namespace

BinaryEncoder::BinaryEncoder(std::string baseName)
    : baseName_(std::move(baseName)), system_(&kUnknownSystem) {}

void BinaryEncoder::setSystem(const pwr::SystemMetadata* metadata) {
  system_ = metadata;
  // In single precision: readers see the durations that this gives.
  tickPeriod_ = ContinuousClock(0, metadata->getTscFrequencyMHz()).period();
  duration_ = {};
}

// After the last index the numbers begin again, which readers cannot make sense of.
void BinaryEncoder::IndexCounter::warnAtEnd_i() {
  if (last != ztbin::kLastIndex || std::exchange(warned, true)) return;
  PW_LOG(kPlainLog, PW_LOG_WARNING,
         "WARNING: Binary writer plugin has no %s index left after 65535; indices begin again "
         "and the output is no longer sound\n",
         what);
}

std::uint16_t BinaryEncoder::getStringStoreIndex_i(const std::string& text) {
  std::uint16_t& index = strings_[text];
  PW_LOG(kIterLog, PW_LOG_INFO, "INFO: getStringStoreIndex_i has name = %s, val = %u\n",
         text.c_str(), index);
  if (index == 0) index = storeString_i(text);
  return index;
}

// A number is given once its record has got its memory: the numbers in a stream have no gap.
std::uint16_t BinaryEncoder::storeString_i(const std::string& text) {
  namespace record = ztbin::string_record;
  stringCounter_.warnAtEnd_i();
  const std::size_t length = std::min(text.size(), record::kMaxLength);
  if (length < text.size() && !std::exchange(hasCutString_, true)) {
    PW_LOG(
        kPlainLog, PW_LOG_WARNING,
        "WARNING: Binary writer plugin cuts strings to %zu bytes; the first such has %zu bytes\n",
        length, text.size());
  }
  const std::size_t size = record::kText + length;
  std::byte* const place = buffer_i(RecordType::String).append(size);
  const std::uint16_t index = ++stringCounter_.last;
  putHeader(place, size, RecordType::String);
  putLittleEndian(place + record::kIndex, index);
  // Of the length only the low byte is written; the whole follows from the size of the record.
  place[record::kLowLength] = static_cast<std::byte>(length & 0xFFU);
  place[record::kPadding] = std::byte{0};
  std::memcpy(place + record::kText, text.data(), length);
  return index;
}

std::uint16_t BinaryEncoder::getEntityId_i(const pwr::DataDescriptor* descriptor) {
  namespace record = ztbin::entity_record;
  if (descriptor == nullptr) return 0;
  std::uint16_t& id = entities_[descriptor];
  if (id != 0) return id;
  entityCounter_.warnAtEnd_i();
  const std::uint16_t text = getStringStoreIndex_i(descriptorText(*descriptor));
  const std::uint16_t name = getStringStoreIndex_i(descriptor->getName());
  std::byte* const place = buffer_i(RecordType::Entity).append(record::kSize);
  id = ++entityCounter_.last;
  putHeader(place, record::kSize, RecordType::Entity);
  putLittleEndian(place + record::kId, id);
  putLittleEndian(place + record::kText, text);
  putLittleEndian(place + record::kName, name);
  return id;
}

BinaryEncoder::MetricState& BinaryEncoder::stateOf_i(const pwr::Metric& metric) {
  // Often one metric comes several times in a row.
  if (metric.getDescription() == lastDescription_) return *lastState_;
  const auto [place, isNew] = metrics_.try_emplace(metric.getId());
  MetricState& state = place->second;
  if (isNew) {
    state.id = metric.getId();
    state.isRate = pwr::isRate(metric.getQuantity());
  }
  lastDescription_ = metric.getDescription();
  lastState_ = &state;
  return state;
}

void BinaryEncoder::encode(const pwr::Metric& metric) {
  MetricState& state = stateOf_i(metric);
  const bool logs = kBinaryLog.shows(PW_LOG_INFO);
  const bool logsIndices = kIterLog.shows(PW_LOG_INFO);
  std::uint32_t count = 0;
  for (const pwr::DataElement& element : metric.getData().elements) {
    // Before anything is described: what nothing refers to would tell readers of a file cut off.
    if (!readValue_i(metric, element)) continue;
    Series& series = state.series.find(element.getEntity(), element.getDescriptor(), [&] {
      return Series{.descriptorId = getEntityId_i(element.getDescriptor())};
    });
    const double duration = durationOf_i(element, state.isRate);
    // Of a state the stream keeps the time spent in it.
    const double value = value_.isState() ? duration : value_.number();
    if (logs) logPoint_i(metric, element, value);
    if (!state.described) describe_i(metric);
    state.described = true;
    if (series.key == 0 || logsIndices) {
      series.key = getStringStoreIndex_i(keyText(metric, element.getEntity()));
    }
    points_.add(static_cast<float>(duration), series.key, series.descriptorId,
                static_cast<float>(value));
    ++count;
  }
  if (count > 0) points_.endSample(metric.getData().timestamp, state.id, count);
}

void BinaryEncoder::tellLeftOut_i(const pwr::Metric& metric, const pwr::DataElement& element) {
  if (element.getDescriptor() == nullptr) {
    PW_LOG(kBinaryLog, told_.levelOf("no descriptor", metric.getId(), element.getEntity()),
           "WARNING: Binary writer plugin failed to retrieve descriptor\n");
    return;
  }
  PW_LOG(kBinaryLog,
         told_.levelOf("no value", metric.getId(), element.getEntity(), element.getDescriptor()),
         "WARNING: Binary writer plugin failed to convert a value of metric %s\n",
         metric.getName().c_str());
}

void BinaryEncoder::describe_i(const pwr::Metric& metric) {
  namespace record = ztbin::metric_record;
  PW_LOG(kBinaryLog, PW_LOG_INFO,
         "INFO: metric container with name %s and id %u does NOT have metadata sent yet\n",
         metric.getName().c_str(), metric.getId());
  std::byte* const body = metricTemplate_.data();
  const auto putText = [&](std::size_t offset, const std::string& text) {
    putLittleEndian(body + offset, getStringStoreIndex_i(text));
  };
  putLittleEndian(body + record::kId, std::uint32_t{metric.getId()});
  putText(record::kFeature, metric.getFeatureSwitchTag());
  putText(record::kName, metric.getName());
  putText(record::kKind, metricKindText(metric.getMetricType()));
  if (const pwr::Quantity* const quantity = metric.getQuantity(); quantity != nullptr) {
    putText(record::kQuantity, quantity->toQuantityString());
    putText(record::kUnits, quantity->toUnitsString());
    putLittleEndian(body + record::kHasQuantity, std::uint16_t{1});
  }
  const Tables tables = storeTables_i(metric);
  putLittleEndian(body + record::kCombinations,
                  static_cast<std::uint16_t>(tables.combinations.size()));
  putLittleEndian(body + record::kValues, static_cast<std::uint16_t>(tables.values.size()));
  const std::size_t size = record::kFixedSize +
                           tables.combinations.size() * record::kCombinationSize +
                           tables.values.size() * record::kValueSize;
  putHeader(body, size, RecordType::Metric);

  std::byte* place = buffer_i(RecordType::Metric).append(size);
  place = std::ranges::copy(metricTemplate_, place).out;
  for (const std::uint32_t combination : tables.combinations) {
    putLittleEndian(place, combination);
    place += record::kCombinationSize;
  }
  for (const std::uint16_t value : tables.values) {
    putLittleEndian(place, value);
    place += record::kValueSize;
  }
}

BinaryEncoder::Tables BinaryEncoder::storeTables_i(const pwr::Metric& metric) {
  namespace record = ztbin::metric_record;
  const auto& combinations = metric.getEntityDescriptorCombinations();
  const auto& values = metric.getFiniteSetValues();
  const std::size_t combinationCount =
      std::min(combinations.size(), record::kMaxTables / record::kCombinationSize);
  const std::size_t valueCount =
      std::min(values.size(), (record::kMaxTables - combinationCount * record::kCombinationSize) /
                                  record::kValueSize);
  if (combinationCount < combinations.size() || valueCount < values.size()) {
    PW_LOG(kPlainLog, PW_LOG_WARNING,
           "WARNING: Binary writer plugin cannot describe all series and values of metric %s\n",
           metric.getName().c_str());
  }
  Tables tables;
  for (std::size_t i = 0; i < combinationCount; ++i) {
    const auto& [entity, descriptor] = combinations[i];
    const std::uint32_t name =
        entity == nullptr ? 0U : getStringStoreIndex_i(entity->getQualifiedName());
    tables.combinations.push_back(name | std::uint32_t{getEntityId_i(descriptor)} << 16U);
  }
  for (std::size_t i = 0; i < valueCount; ++i) {
    std::string text;
    values[i].toFormattedString(text);
    tables.values.push_back(getStringStoreIndex_i(text));
  }
  return tables;
}

/// In microseconds. The elements of a sample most often last equally long.
double BinaryEncoder::durationOf_i(const pwr::DataElement& element, bool isRate) {
  const unsigned long long ticks = element.getDuration();
  if (ticks != duration_.ticks || isRate != duration_.isRate) {
    const std::uint64_t whole =
        isRate ? ticks : truncated(static_cast<double>(ticks) * tickPeriod_);
    duration_ = {ticks, isRate, static_cast<double>(whole)};
  }
  return duration_.converted;
}

void BinaryEncoder::logPoint_i(const pwr::Metric& metric, const pwr::DataElement& element,
                               double value) const {
  const std::string key = keyText(metric, element.getEntity());
  kBinaryLog.write(PW_LOG_INFO,
                   "INFO: key = %s, name = %s, state = %s, hasStates = %s, Value = %.2f\n",
                   key.c_str(), element.getDescriptor()->getName().c_str(),
                   value_.isState() ? value_.stateName().c_str() : "N/A",
                   value_.isState() ? "TRUE" : "FALSE", value);
}

void BinaryEncoder::buildSystemRecord_i(const pwr::SystemMetadata& metadata) {
  namespace record = ztbin::system_record;
  RecordBlocks& buffer = buffer_i(RecordType::System);
  buffer.clear();  // of a file that failed
  std::byte* const place = buffer.append(record::kSize);
  putHeader(place, record::kSize, RecordType::System);
  putSystemNumbers(place, metadata);
  const auto putText = [&](std::size_t offset, const std::string& text) {
    putLittleEndian(place + offset, getStringStoreIndex_i(text));
  };
  putText(record::kPlatformName, metadata.getPlatformName());
  putText(record::kCpuName, metadata.getFormattedCPUCodeName());
  putText(record::kCpuNativeName, metadata.getCPUNativeModelName(0));
  putText(record::kPchName, metadata.getFormattedPCHDeviceNamesStr(", "));
  putText(record::kHostName, metadata.getHostName());
  putText(record::kOsType, metadata.getOSType());
  putText(record::kOsName, metadata.getOSName());
  putText(record::kOsNameAgain, metadata.getOSName());
}

bool BinaryEncoder::writeFile(const pwr::SystemMetadata& metadata, Naming naming,
                              Unfinished unfinished) {
  const bool isNumbered = naming == Naming::Numbered;
  const std::string name =
      isNumbered ? numberedFileName(baseName_, g_fileNumber, ".ztbin") : baseName_ + ".ztbin";
  const bool isComplete = writeWholeFile(name, unfinished, [&](pwr::Logger& output) {
    buildSystemRecord_i(metadata);
    return flushBuffers_i(output);
  });
  if (!isComplete) return false;
  if (isNumbered) ++g_fileNumber;
  for (RecordBlocks& buffer : buffers_) buffer.clear();
  points_.clear();
  return true;
}

void BinaryEncoder::beginAnew() {
  strings_.clear();
  stringCounter_.last = 0;
  entities_.clear();
  entityCounter_.last = 0;
  metrics_.clear();
  lastDescription_ = nullptr;
  lastState_ = nullptr;
  metricTemplate_ = {};
}

/// Writes all buffers. They keep their bytes: whether the file is complete is known only at the
/// end.
bool BinaryEncoder::flushBuffers_i(pwr::Logger& output) {
  int number = 0;
  const auto write = [&](const auto& buffer) {
    if (buffer.writeTo(output) != 0) return false;
    PW_LOG(kIterLog, PW_LOG_INFO, "INFO: flushBuffers_i() wrote %zu bytes from buffer %d\n",
           buffer.size(), number);
    ++number;
    return true;
  };
  return std::ranges::all_of(buffers_, write) && write(points_);
}
