#pragma once

#include <string>
#include <vector>

namespace tavrin {

/// A recorded run that is delivered to a `MessageSink`, in the order that the sink asks for. Owns
/// the system description that it delivers, so it must outlive the run. What it reads from and
/// delivers to is given to its constructor.
class Import {
 public:
  Import() = default;
  Import(const Import&) = delete;
  Import& operator=(const Import&) = delete;
  virtual ~Import() = default;

  /// Delivers the whole run; to be called once. Returns 0, or 1 with `error` set to the place and
  /// the cause. What came before the place has been delivered then, and the system description is
  /// complete in either case. A stop of the input ends the run as if it had no more. What the sink
  /// throws passes through.
  virtual int replay(std::string& error) = 0;

  /// What the user should know of a replay that has not failed.
  virtual std::vector<std::string> warnings() const { return {}; }
};

}  // namespace tavrin
