#include "writers/host/Tokenizer.h"

namespace pwr {

Tokenizer::Tokenizer(const std::string& text, const char* delimiters) {
  std::size_t start = text.find_first_not_of(delimiters);
  while (start != std::string::npos) {
    const std::size_t end = text.find_first_of(delimiters, start);
    tokens_.push_back(text.substr(start, end - start));
    start = text.find_first_not_of(delimiters, end);
  }
}

Tokenizer::~Tokenizer() = default;

}  // namespace pwr
