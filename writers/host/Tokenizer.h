#pragma once

#include <string>
#include <vector>

#include "writers/host/HostApi.h"

namespace pwr {

/// Splits a text at any of the given delimiter characters. Runs of delimiters count as one; there
/// are no empty tokens.
class PW_HOST_API Tokenizer {
 public:
  Tokenizer(const std::string& text, const char* delimiters);
  ~Tokenizer();

  const std::vector<std::string>& get_all_tokens() const { return tokens_; }

 private:
  std::vector<std::string> tokens_;
};

}  // namespace pwr
