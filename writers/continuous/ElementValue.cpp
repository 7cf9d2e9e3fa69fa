#include "writers/continuous/ElementValue.h"

namespace {

const std::string kNoName;

/// The first bound of a range.
int firstBound(const pwr::Data& value, double& bound) {
  pwr::Data::IntPair ints;
  pwr::Data::UIntPair uints;
  pwr::Data::RealPair reals;
  if (value.toRealRange(reals) == 0) {
    bound = reals.first;
  } else if (value.toIntRange(ints) == 0) {
    bound = static_cast<double>(ints.first);
  } else if (value.toUIntRange(uints) == 0) {
    bound = static_cast<double>(uints.first);
  } else {
    return 1;
  }
  return 0;
}

}  // namespace

ElementValue::Kind ElementValue::readOther(const pwr::Data& value) {
  number_ = 0.0;
  switch (value.getType()) {
    case pwr::DataType::Handle:
      value.toHandle(handle_);
      if (handle_ != nullptr && handle_->getHandleType() == pwr::DataHandleType::State) {
        return Kind::StateHandle;
      }
      handle_ = nullptr;
      return Kind::None;
    case pwr::DataType::String:
      value.toString(text_);
      return Kind::StateText;
    default:
      return firstBound(value, number_) == 0 ? Kind::Number : Kind::None;
  }
}

const std::string& ElementValue::stateName() const {
  switch (kind_) {
    case Kind::StateHandle:
      return handle_->getName();
    case Kind::StateText:
      return text_;
    default:
      return kNoName;
  }
}
