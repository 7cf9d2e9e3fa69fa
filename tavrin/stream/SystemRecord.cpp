#include "tavrin/stream/SystemRecord.h"

#include <array>
#include <vector>

namespace tavrin::systemrecord {

namespace {

/// Packages, modules (null where there are none) and cores of each thread.
void writeTopology(RecordWriter& records, const pwr::TopTree& topology) {
  std::vector<const pwr::TNode*> threads;
  topology.getAllThreads(threads);
  records.array("topology", threads, [&](const pwr::TNode* thread) {
    const pwr::TNode* const core = thread->getParent();
    const pwr::TNode* const above = core->getParent();
    const bool module = above->getType() == pwr::TNodeType::Module;
    records.beginArray();
    records.integer((module ? above->getParent() : above)->getId());
    if (module) {
      records.integer(above->getId());
    } else {
      records.null();
    }
    records.integer(core->getId());
    records.integer(thread->getId());
    records.endArray();
  });
}

void writeImages(RecordWriter& records, const std::vector<pwr::ProcessImage>& images) {
  records.array("earlier", images, [&](const pwr::ProcessImage& image) {
    records.beginObject();
    records.member("path", image.path);
    records.member("name", image.name);
    records.required("end", image.endTime);
    records.endObject();
  });
}

void writeProcesses(RecordWriter& records, const std::vector<pwr::Process>& processes) {
  records.key("processes");
  records.array(processes, [&](const pwr::Process& process) {
    records.beginObject();
    records.required("pid", process.getPid());
    records.member("parent", process.getParentPid());
    records.member("path", process.getPath());
    records.member("name", process.getName());
    records.member("start", process.getStartTime());
    records.member("end", process.getEndTime());
    writeImages(records, process.getEarlierImages());
    records.endObject();
  });
}

void writeThreads(RecordWriter& records, const std::vector<pwr::Thread>& threads) {
  records.key("threads");
  records.array(threads, [&](const pwr::Thread& thread) {
    records.beginObject();
    records.required("pid", thread.getPid());
    records.required("tid", thread.getTid());
    records.member("name", thread.getName());
    records.member("start", thread.getStartTime());
    records.member("end", thread.getEndTime());
    records.endObject();
  });
}

void writeLostEvents(RecordWriter& records, const std::vector<pwr::LostEvents>& losses) {
  records.array("lostEvents", losses, [&](const pwr::LostEvents& lost) {
    records.beginObject();
    records.member("source", lost.source);
    records.required("count", lost.count);
    records.endObject();
  });
}

void writeInfoValues(RecordWriter& records, const std::vector<pwr::NameValuePair>& values) {
  records.array("info", values, [&](const pwr::NameValuePair& info) {
    records.beginObject();
    records.member("name", info.getInfoName());
    records.member("value", info.getValue());
    records.member("description", info.getValueDesc());
    records.endObject();
  });
}

void writeParts(RecordWriter& records, std::string_view name,
                const std::array<unsigned int, 3>& parts) {
  if (parts == std::array<unsigned int, 3>{}) return;
  records.array(name, parts, [&](unsigned int part) { records.integer(part); });
}

void writeVersions(RecordWriter& records, const pwr::SystemMetadata& metadata) {
  writeParts(records, "collectorVersion",
             {metadata.getCollectorVersionMajor(), metadata.getCollectorVersionMinor(),
              metadata.getCollectorVersionRevision()});
  records.member("productVersion", metadata.getProductVersion());
  records.member("driverVersion", metadata.getDriverVersion());
}

void writeProcessor(RecordWriter& records, const pwr::SystemMetadata& metadata) {
  records.member("cpuCodeName", metadata.getFormattedCPUCodeName());
  records.member("cpuModel", metadata.getCPUNativeModelName(0));
  const std::array<std::uint8_t, 3>& cpuId = metadata.getCPUId();
  writeParts(records, "cpuId", {cpuId[0], cpuId[1], cpuId[2]});
  records.array("pchDevices", metadata.getPCHDeviceNames(),
                [&](const std::string& name) { records.text(name); });
  records.required("clockMHz", metadata.getTimestampClockFrequencyMHz());
  records.member("tscMHz", metadata.getDescription().tscFrequencyMHz);
  records.member("cpuMHz", metadata.getCPUFrequencyMHz());
  records.member("hfmMHz", metadata.getHFMFrequencyMHz());
  records.member("lfmMHz", metadata.getLFMFrequencyMHz());
  records.member("busMHz", metadata.getBusFrequencyMHz());
}

template <std::size_t N, typename Part>
std::array<Part, N> readParts(const JsonObject& record, std::string_view member) {
  std::array<Part, N> parts{};
  const json::Value* const value = record.find(member);
  if (value == nullptr) return parts;
  const json::Value::ConstArray items = json::array(*value, member, N);
  for (unsigned int i = 0; i < N; ++i) parts[i] = json::integer<Part>(items[i], member);
  return parts;
}

void readTopology(const JsonObject& record, pwr::TopTree& topology) {
  record.forEach("topology", [&](const json::Value& item) {
    const json::Value::ConstArray thread = json::array(item, "topology", 4);
    int module = -1;
    if (!thread[1].IsNull()) {
      module = json::integer<int>(thread[1], "topology");
      if (module < 0) json::fail("topology", "out of range");
    }
    topology.addThread(json::integer<unsigned int>(thread[0], "topology"), module,
                       json::integer<unsigned int>(thread[2], "topology"),
                       json::integer<unsigned int>(thread[3], "topology"));
  });
}

std::vector<pwr::ProcessImage> readImages(const JsonObject& process) {
  std::vector<pwr::ProcessImage> images;
  process.forEach("earlier", [&](const json::Value& item) {
    const JsonObject image(item, "earlier", {"path", "name", "end"});
    images.push_back({image.text("path"), image.text("name"),
                      json::integer<unsigned long long>(image.require("end"), "end")});
  });
  return images;
}

void readProcesses(const JsonObject& record, pwr::SystemDescription& description) {
  if (record.find("processes") != nullptr) description.processes.clear();
  record.forEach("processes", [&](const json::Value& item) {
    const JsonObject process(item, "processes",
                             {"pid", "parent", "path", "name", "start", "end", "earlier"});
    description.processes.emplace_back(
        json::integer<int>(process.require("pid"), "pid"), process.integer<int>("parent"),
        process.text("path"), process.integer<unsigned long long>("start"),
        process.integer<unsigned long long>("end"), process.text("name"), readImages(process));
  });
  if (record.find("threads") != nullptr) description.threads.clear();
  record.forEach("threads", [&](const json::Value& item) {
    const JsonObject thread(item, "threads", {"pid", "tid", "name", "start", "end"});
    description.threads.emplace_back(json::integer<int>(thread.require("pid"), "pid"),
                                     json::integer<int>(thread.require("tid"), "tid"),
                                     thread.integer<unsigned long long>("start"),
                                     thread.integer<unsigned long long>("end"),
                                     thread.text("name"));
  });
}

void readLostEvents(const JsonObject& record, pwr::SystemDescription& description) {
  record.forEach("lostEvents", [&](const json::Value& item) {
    const JsonObject lost(item, "lostEvents", {"source", "count"});
    description.lostEvents.push_back(
        {lost.text("source"), json::integer<unsigned long long>(lost.require("count"), "count")});
  });
}

void readProcessor(const JsonObject& record, pwr::SystemDescription& description) {
  description.cpuCodeName = record.text("cpuCodeName");
  description.cpuNativeModelName = record.text("cpuModel");
  description.cpuId = readParts<3, std::uint8_t>(record, "cpuId");
  record.forEach("pchDevices", [&](const json::Value& name) {
    description.pchDeviceNames.push_back(json::text(name, "pchDevices"));
  });
  description.timestampClockFrequencyMHz =
      json::integer<unsigned int>(record.require("clockMHz"), "clockMHz");
  if (description.timestampClockFrequencyMHz == 0) json::fail("clockMHz", "out of range");
  description.tscFrequencyMHz = record.singleReal("tscMHz");
  description.cpuFrequencyMHz = record.singleReal("cpuMHz");
  description.hfmFrequencyMHz = record.singleReal("hfmMHz");
  description.lfmFrequencyMHz = record.singleReal("lfmMHz");
  description.busFrequencyMHz = record.singleReal("busMHz");
}

void readVersions(const JsonObject& record, pwr::SystemDescription& description) {
  const auto version = readParts<3, std::uint16_t>(record, "collectorVersion");
  if (version[1] > 255 || version[2] > 255) json::fail("collectorVersion", "out of range");
  description.collectorVersionMajor = version[0];
  description.collectorVersionMinor = static_cast<std::uint8_t>(version[1]);
  description.collectorVersionRevision = static_cast<std::uint8_t>(version[2]);
  description.productVersion = record.text("productVersion");
  description.driverVersion = record.text("driverVersion");
}

}  // namespace

void writeSystem(RecordWriter& records, const pwr::SystemMetadata& metadata) {
  records.begin("system");
  records.member("platformId", metadata.getPlatformId());
  records.member("platformName", metadata.getPlatformName());
  records.member("hostName", metadata.getHostName());
  records.member("osName", metadata.getOSName());
  records.member("osType", metadata.getOSType());
  records.member("osVersion", metadata.getOSVersion());
  writeProcessor(records, metadata);
  records.member("startTime", metadata.getCollectionStartTime());
  records.member("startTimestamp", metadata.getCollectionStartTimestamp());
  records.member("startTimeNs", metadata.getCollectionStartTimeNs());
  writeVersions(records, metadata);
  records.member("commandLine", metadata.getCommandLine());
  writeTopology(records, metadata.getTopTree());
  if (!metadata.getProcesses().empty()) writeProcesses(records, metadata.getProcesses());
  if (!metadata.getThreads().empty()) writeThreads(records, metadata.getThreads());
  writeInfoValues(records, metadata.getInfoValues());
  records.end();
}

void writeStop(RecordWriter& records, const pwr::SystemMetadata& metadata,
               unsigned long long knownCpus) {
  records.begin("stop");
  records.required("timestamp", metadata.getCollectionStopTimestamp());
  records.member("durationSec", metadata.getCollectionDurationSec(), 0.0);
  if (metadata.getTopTree().getNumThreads() != knownCpus) {
    writeTopology(records, metadata.getTopTree());
  }
  // Also when empty: a list that is left out stands for the one of the system record.
  writeProcesses(records, metadata.getProcesses());
  writeThreads(records, metadata.getThreads());
  writeLostEvents(records, metadata.getLostEvents());
  records.end();
}

pwr::SystemDescription readSystem(const json::Value& value) {
  const JsonObject record(value, "system",
                          {"type",           "platformId",    "platformName",     "hostName",
                           "osName",         "osType",        "osVersion",        "cpuCodeName",
                           "cpuModel",       "cpuId",         "pchDevices",       "clockMHz",
                           "tscMHz",         "cpuMHz",        "hfmMHz",           "lfmMHz",
                           "busMHz",         "startTime",     "startTimestamp",   "startTimeNs",
                           "productVersion", "driverVersion", "collectorVersion", "commandLine",
                           "topology",       "processes",     "threads",          "info"});
  pwr::SystemDescription description;
  description.platformId = record.integer<unsigned int>("platformId");
  description.platformName = record.text("platformName");
  description.hostName = record.text("hostName");
  description.osName = record.text("osName");
  description.osType = record.text("osType");
  description.osVersion = record.text("osVersion");
  readProcessor(record, description);
  description.collectionStartTime = record.text("startTime");
  description.collectionStartTimestamp = record.integer<unsigned long long>("startTimestamp");
  description.collectionStartTimeNs = record.integer<unsigned long long>("startTimeNs");
  readVersions(record, description);
  description.commandLine = record.text("commandLine");
  readTopology(record, description.topology);
  readProcesses(record, description);
  record.forEach("info", [&](const json::Value& item) {
    const JsonObject info(item, "info", {"name", "value", "description"});
    description.infoValues.emplace_back(info.text("name"), info.integer<unsigned int>("value"),
                                        info.text("description"));
  });
  return description;
}

void readStop(const json::Value& value, pwr::SystemDescription& description) {
  const JsonObject record(
      value, "stop",
      {"type", "timestamp", "durationSec", "topology", "processes", "threads", "lostEvents"});
  const auto timestamp =
      json::integer<unsigned long long>(record.require("timestamp"), "timestamp");
  const double duration = record.real("durationSec", 0.0);
  readTopology(record, description.topology);
  readProcesses(record, description);
  readLostEvents(record, description);
  description.collectionStopTimestamp = timestamp;
  description.collectionDurationSec = duration;
}

}  // namespace tavrin::systemrecord
