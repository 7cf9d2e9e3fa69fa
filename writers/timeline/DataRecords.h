#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "formats/pwr_format.h"
#include "writers/host/Data.h"
#include "writers/host/Quantity.h"
#include "writers/timeline/AttributeList.h"
#include "writers/timeline/InfoRecords.h"
#include "writers/timeline/QuantityInfos.h"
#include "writers/timeline/TimelineLog.h"
#include "writers/timeline/TimelineOutput.h"

/// Writes the data records of the timeline file: a timestamp and a list of typed attributes.
/// Operations return 0, or 1 after a failure, which is logged; the record is to be given up then.
class DataRecords {
 public:
  /// `legacy`: for analyzers that know integers only; reals lose their fraction.
  DataRecords(TimelineOutput& output, InfoRecords& infos, QuantityInfos& quantities, bool legacy);

  /// Appends an attribute to the list. Null fails, and so does a full list.
  static int addAttribute(pwrfile::AttributeType type, std::uint64_t value, AttributeList* list);

  /// Appends the quantity (which may be null) and the value. A null value is none: a success. With
  /// `asString`, or with a place for the text in `outString`, the value becomes a text with its
  /// unit instead, which goes to `outString` or else, as an info, to the list.
  int addDataValue(const pwr::Data* data, const pwr::Quantity* quantity, AttributeList* list,
                   bool asString, std::string* outString) {
    if (data == nullptr) return 0;
    if (list == nullptr && outString == nullptr) return refuseAttribute_i(list);
    return asString || outString != nullptr ? addAsText_i(*data, quantity, list, outString)
                                            : addValue_i(*data, quantity, list);
  }

  /// Appends an info that stands for the text.
  int addStringValue(const std::string& text, AttributeList* list);

  /// Completes the record in the list and appends it to the stream of the key, which is the
  /// metric's id. `tsc`: ticks.
  int writeZt2Record(std::uint64_t tsc, std::uint64_t streamKey, AttributeList* list);

 private:
  static inline bool attributeNoteDone_ = false;  // once per process

  static void logAttribute_i(pwrfile::AttributeType type, std::uint64_t value,
                             const AttributeList& list);
  static int refuseAttribute_i(const AttributeList* list);
  static void noteManyAttributes_i(const AttributeList& list);
  int addQuantity_i(const pwr::Quantity& quantity, AttributeList* list);
  int addValue_i(const pwr::Data& data, const pwr::Quantity* quantity, AttributeList* list);
  int addRange_i(const pwr::Data& data, AttributeList* list);
  int addString_i(const pwr::Data& data, AttributeList* list, std::string* outString);
  int addAsText_i(const pwr::Data& data, const pwr::Quantity* quantity, AttributeList* list,
                  std::string* outString);
  int addReal_i(pwrfile::AttributeType type, const char* what, double value, AttributeList* list);
  std::uint64_t encodeReal_i(const char* what, double value) const;
  void noteReals_i(bool& done) const;
  void logRecord_i(std::uint64_t tsc, std::uint64_t streamKey, const AttributeList& list,
                   std::size_t size) const;

  TimelineOutput& output_;
  InfoRecords& infos_;
  QuantityInfos& quantities_;
  const bool legacy_;
};

// In the header: this runs several times per sample.
inline int DataRecords::addAttribute(pwrfile::AttributeType type, std::uint64_t value,
                                     AttributeList* list) {
  if (list == nullptr || list->count >= AttributeList::kCapacity) return refuseAttribute_i(list);
  if (!attributeNoteDone_) noteManyAttributes_i(*list);
  if (list->isLogged) logAttribute_i(type, value, *list);
  list->add(static_cast<std::uint32_t>(type), value);
  return 0;
}
