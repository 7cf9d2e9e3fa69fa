#include "writers/timeline/QuantityInfos.h"

#include <string>
#include <string_view>

#include "writers/host/Data.h"
#include "writers/timeline/TimelineLog.h"

namespace {

/// Values that only add up to something; it takes their rate to show how it goes on.
bool needsRate(pwr::QuantityType type) {
  return type == pwr::QuantityType::Count || type == pwr::QuantityType::Energy ||
         type == pwr::QuantityType::StateEntry;
}

}  // namespace

std::uint64_t QuantityInfos::lookUp_i(const pwr::Quantity* quantity) {
  const auto known = ids_.find(quantity);
  const std::uint64_t id = known != ids_.end() ? known->second : write_i(*quantity);
  ids_.try_emplace(quantity, id);
  last_ = {quantity, id};
  return id;
}

std::uint64_t QuantityInfos::write_i(const pwr::Quantity& quantity) {
  using pwrfile::info_type::kQuantity;
  const pwr::Quantity* rate = nullptr;
  double multiplier = 1.0;
  std::uint64_t rateUid = pwrfile::kNone;
  std::string description;
  if (quantity.getRateConversion(rate, multiplier) == 0) {
    rateUid = idOf(rate);
    if (rateUid == pwrfile::kNone) return pwrfile::kNone;
    pwr::Data(multiplier).toString(description);
    description.insert(0, "multiplier ");
  } else if (needsRate(quantity.toQuantity())) {
    PW_LOG(kTimelineLog, PW_LOG_WARNING, "WARNING: Rate Quantity not specified for %s\n",
           quantity.toQuantityString().c_str());
  }
  const std::string& stated = quantity.toUnitsString();
  const std::string& units = stated == "percent" ? "%" : stated;
  const std::uint64_t uid = quantity.getId();
  const auto type = static_cast<int>(quantity.toQuantity());
  const InfoTexts texts =
      InfoTexts{quantity.toQuantityString(), units, description}.fitting(kQuantity);
  if (infos_.write(kQuantity, texts, static_cast<std::uint64_t>(type), uid, rateUid) != 0) {
    return pwrfile::kNone;
  }
  TIMELINE_DEBUG(
      "Wrote quantity metadata name:'%s' units:'%s' type:'%d' "
      "uid:'%llu' rate uid:'%s' multiplier:'%f'.\n",
      quantity.toQuantityString().c_str(), units.c_str(), type,
      static_cast<unsigned long long>(uid),
      rate == nullptr ? "none" : std::to_string(rateUid).c_str(), multiplier);
  return uid;
}
