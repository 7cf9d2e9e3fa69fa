#include "tavrin/common/Refusals.h"

#include <cerrno>

namespace tavrin {

thread_local Refusals* Refusals::current_ = nullptr;

Refusals::Refusals() : outer_(current_) {
  current_ = this;
}

Refusals::~Refusals() {
  current_ = outer_;
}

void Refusals::note(std::string_view what, int error) {
  if (current_ == nullptr || (error != EACCES && error != EPERM)) return;
  current_->errors_.try_emplace(std::string(what), error);
}

std::vector<Refusal> Refusals::all() const {
  std::vector<Refusal> refusals;
  for (const auto& [what, error] : errors_) refusals.push_back({what, error});
  return refusals;
}

}  // namespace tavrin
