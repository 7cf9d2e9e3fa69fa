#pragma once

#include <string_view>

#include "hostcommon/session/MessageSink.h"
#include "tavrin/stream/DefinitionReader.h"
#include "tavrin/stream/JsonObject.h"
#include "tavrin/stream/PlainSample.h"

namespace tavrin {

/// Delivers the records of one stream, in their order, to a sink.
class RecordReplay {
 public:
  /// `sink` is not owned.
  explicit RecordReplay(pwr::MessageSink& sink);

  /// Takes the next record. Throws StreamError, having delivered nothing of it, when the record is
  /// not as it should be or stands in the wrong place.
  void record(const json::Value& value);

  /// The same for a line of text that is followed by a NUL, if the record is a sample written in
  /// the ordinary way. Returns false, having done nothing, when it is not: `record` takes it then.
  bool plainSample(std::string_view line);

  /// False when nothing was delivered, as the stream has ended before its system record.
  bool hasSystem() const { return place_ > Place::System; }
  /// To be called at the end of the stream: completes the system description, where no stop record
  /// has done so, from the latest end of an element.
  void complete();

 private:
  /// What the next record may be.
  enum class Place { Header, System, Body, Behind };

  void header(const json::Value& value);
  void system(const json::Value& value);
  void stop(const json::Value& value);
  void message(std::string_view type, const json::Value& value);
  void sample(const json::Value& value);
  void remainder(const json::Value& value);
  void container(const json::Value& value);
  void definition(const json::Value& value);
  void row(const json::Value& value);
  void text(const json::Value& value);
  void id(const json::Value& value);
  void flush(const json::Value& value);
  void elements(const json::Value& value, std::vector<pwr::DataElement>& elements) const;
  pwr::DataElement element(const json::Value& value) const;
  void addRareParts(const json::Value& value, pwr::DataElement& element) const;
  std::vector<pwr::Data> cells(const json::Value& value, const pwr::TableDescription& table) const;
  void noteEnd(const pwr::Metric& metric);

  pwr::MessageSink& sink_;
  Place place_ = Place::Header;
  DefinitionReader definitions_;
  pwr::SystemMetadata metadata_;
  PlainSample plainSample_{definitions_.table()};
  unsigned long long latestEnd_ = 0;
};

}  // namespace tavrin
