#pragma once

#include <string>

#include "writers/host/DataHandle.h"
#include "writers/host/Metric.h"

/// What the continuous formats take from the value of a data element: a state, or a number. An
/// object is read into again and again; reading a number or a handle allocates nothing.
///
/// A state has no number: the formats give it the time spent in it, which is the element's duration
/// and which the caller has in its own unit.
class ElementValue {
 public:
  enum class Kind {
    None,         ///< nothing that the formats can express: no value, or a handle of no state
    Number,       ///< a number, or the first bound of a range
    StateHandle,  ///< a state, named by a handle
    StateText,    ///< a state, named by a text
  };

  void read(const pwr::Data& value) {
    handle_ = nullptr;
    kind_ = value.toReal(number_) == 0 ? Kind::Number : readOther(value);
  }

  Kind kind() const { return kind_; }
  bool isState() const { return kind_ == Kind::StateHandle || kind_ == Kind::StateText; }
  /// 0 unless the kind is `Number`.
  double number() const { return number_; }
  /// Null unless the kind is `StateHandle`.
  const pwr::DataHandle* stateHandle() const { return handle_; }
  /// The name of the state's handle or the text itself; empty when the value is no state.
  const std::string& stateName() const;

 private:
  /// Reads what is not one number.
  Kind readOther(const pwr::Data& value);

  Kind kind_ = Kind::None;
  double number_ = 0.0;
  const pwr::DataHandle* handle_ = nullptr;
  std::string text_;
};
