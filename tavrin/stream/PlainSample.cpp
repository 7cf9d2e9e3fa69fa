#include "tavrin/stream/PlainSample.h"

#include <charconv>
#include <string>
#include <system_error>

namespace tavrin {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

void PlainSample::skipBlanks() {
  while (*at_ == ' ' || *at_ == '\t' || *at_ == '\r') ++at_;
}

bool PlainSample::take(char wanted) {
  skipBlanks();
  if (*at_ != wanted) return false;
  ++at_;
  return true;
}

bool PlainSample::take(std::string_view wanted) {
  skipBlanks();
  if (!std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(wanted)) {
    return false;
  }
  at_ += wanted.size();
  return true;
}

bool PlainSample::takeNull() {
  skipBlanks();
  return *at_ == 'n' && take("null");
}

/// Fewer digits than could exceed 64 bits.
bool PlainSample::readDigits(unsigned long long& number) {
  constexpr int kMostDigits = 19;
  skipBlanks();
  const char* const start = at_;
  number = 0;
  for (; isDigit(*at_); ++at_) number = 10 * number + static_cast<unsigned char>(*at_ - '0');
  const auto digits = at_ - start;
  return digits == 1 || (digits > 1 && digits <= kMostDigits && *start != '0');
}

bool PlainSample::readNumber(pwr::Data& value) {
  const char* const start = at_;
  unsigned long long magnitude = 0;
  if (*start == '-') ++at_;
  if (!isDigit(*at_) || !readDigits(magnitude)) return false;
  if (*at_ == '.' || *at_ == 'e' || *at_ == 'E') return readReal(start, value);
  if (*start != '-') {
    value.set(magnitude);
  } else if (magnitude > 0 && magnitude < 1ULL << 63U) {
    value.set(-static_cast<long long>(magnitude));
  } else {
    return false;
  }
  return true;
}

/// Goes on behind the digits before the point.
bool PlainSample::readReal(const char* start, pwr::Data& value) {
  if (*at_ == '.' && !isDigit(at_[1])) return false;
  double real = 0.0;
  const std::from_chars_result result = std::from_chars(start, end_, real);
  if (result.ec != std::errc()) return false;
  // JsonLine refuses a zero with a large exponent.
  const std::string_view text(start, static_cast<std::size_t>(result.ptr - start));
  if (real == 0.0 && text.find_first_of("eE") != std::string_view::npos) return false;
  at_ = result.ptr;
  value.set(real);
  return true;
}

/// Of characters that stand for themselves, all of them ASCII.
bool PlainSample::readText(pwr::Data& value) {
  constexpr char kLast = '~';
  const char* const start = ++at_;
  while (*at_ >= ' ' && *at_ <= kLast && *at_ != '"' && *at_ != '\\') ++at_;
  if (*at_ != '"') return false;
  value = pwr::Data(std::string(start, at_));
  ++at_;
  return true;
}

bool PlainSample::readValue(pwr::Data& value) {
  skipBlanks();
  if (*at_ == '-' || isDigit(*at_)) return readNumber(value);
  if (*at_ == '"') return readText(value);
  value.clear();
  return takeNull();
}

template <typename Description>
bool PlainSample::readReference(const Description*& description) {
  if (takeNull()) return true;
  unsigned long long id = 0;
  if (!readDigits(id)) return false;
  const auto* const found = known_.find<const Description*>(id);
  if (found == nullptr) return false;
  description = *found;
  return true;
}

bool PlainSample::readDuration(unsigned long long& duration) {
  return takeNull() || readDigits(duration);
}

bool PlainSample::readElement(pwr::DataElement& element) {
  const pwr::EntityHandle* entity = nullptr;
  const pwr::DataDescriptor* descriptor = nullptr;
  unsigned long long duration = 0;
  const bool isArray = take('[');
  if (!readValue(element.editValue())) return false;
  if (isArray) {
    const bool isSound =
        (!take(',') ||
         (readReference(entity) &&
          (!take(',') || (readReference(descriptor) && (!take(',') || readDuration(duration)))))) &&
        take(']');
    if (!isSound) return false;
  }
  element.reset(descriptor, entity, duration);
  return true;
}

bool PlainSample::readElements(std::vector<pwr::DataElement>& elements) {
  std::size_t count = 0;
  if (!take(']')) {
    do {
      if (count == kMostElements) return false;
      if (count == elements.size()) elements.emplace_back();
      if (!readElement(elements[count++])) return false;
    } while (take(','));
    if (!take(']')) return false;
  }
  elements.resize(count);
  return true;
}

pwr::Metric* PlainSample::readHead() {
  unsigned long long id = 0;
  unsigned long long time = 0;
  const bool isSample = take('{') && take("\"type\"") && take(':') && take("\"sample\"") &&
                        take(',') && take("\"metric\"") && take(':') && readDigits(id) &&
                        take(',') && take("\"time\"") && take(':') && readDigits(time) &&
                        take(',') && take("\"elements\"") && take(':') && take('[');
  const auto* const metric = isSample ? known_.find<std::unique_ptr<pwr::Metric>>(id) : nullptr;
  if (metric == nullptr) return nullptr;
  (*metric)->editData().timestamp = time;
  return metric->get();
}

pwr::Metric* PlainSample::read(std::string_view line) {
  at_ = line.data();
  end_ = at_ + line.size();
  pwr::Metric* const metric = readHead();
  if (metric == nullptr || !readElements(metric->editData().elements) || !take('}')) return nullptr;
  skipBlanks();
  return at_ == end_ ? metric : nullptr;
}

}  // namespace tavrin
