#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// Something that the kernel did not let this process do, for want of a right.
struct Refusal {
  std::string what;  ///< the path of a file, or what else was asked for
  int error = 0;     ///< EACCES or EPERM
};

/// Collects what is refused in its thread as long as it lives. A feature that cannot be had may be
/// one that the machine lacks or one that is kept from this user: what was refused while it was
/// looked for tells which, whatever the feature reads.
class Refusals {
 public:
  Refusals();
  ~Refusals();
  Refusals(const Refusals&) = delete;
  Refusals& operator=(const Refusals&) = delete;

  /// To be told of every failure: those for other reasons than a missing right are left out, as is
  /// everything while nobody collects.
  static void note(std::string_view what, int error);

  /// What was refused so far; nothing twice.
  std::vector<Refusal> all() const;

 private:
  static thread_local Refusals* current_;

  Refusals* const outer_;
  std::map<std::string, int, std::less<>> errors_;
};

}  // namespace tavrin
