#include "tavrin/import/PrintText.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <optional>

namespace tavrin {

namespace {

/// No wider than this are numbers padded, whatever a format asks for.
constexpr long long kMostDigits = 200;
constexpr std::size_t kLongestPrint = 65536;
constexpr std::size_t kWord = 4;

/// The stored values, one after the other.
class Values {
 public:
  Values(std::span<const std::byte> bytes, ByteOrder order) : bytes_(bytes), order_(order) {}

  /// Of 1, 2, 4 or 8 bytes; those of 8 are aligned like those of 4.
  long long number(std::size_t size, bool isSigned) {
    align(std::min(size, kWord));
    const std::size_t begin = position_;
    position_ += size;
    if (position_ > bytes_.size()) return 0;
    return order_.number(bytes_.data() + begin, size, isSigned);
  }

  std::string_view text() {
    if (position_ >= bytes_.size()) return {};
    const std::string_view all(reinterpret_cast<const char*>(bytes_.data()), bytes_.size());
    const std::string_view text = all.substr(position_, all.find('\0', position_) - position_);
    position_ += text.size() + 1;
    return text;
  }

 private:
  void align(std::size_t size) { position_ = (position_ + size - 1) / size * size; }

  std::span<const std::byte> bytes_;
  ByteOrder order_;
  std::size_t position_ = 0;
};

/// What stands between '%' and the letter.
struct Conversion {
  std::string flags;
  int width = 0;
  std::optional<int> precision;
  std::size_t size = 4;
  char letter = 0;
};

class Printer {
 public:
  Printer(std::string_view format, std::span<const std::byte> values, const RingLayout& layout,
          const std::function<std::string(std::uint64_t)>& symbolAt)
      : format_(format),
        values_(values, layout.order),
        longSize_(layout.longSize),
        symbolAt_(symbolAt) {}

  std::string print() {
    while (position_ < format_.size() && text_.size() < kLongestPrint) {
      const std::size_t percent = std::min(format_.find('%', position_), format_.size());
      text_ += format_.substr(position_, percent - position_);
      position_ = percent + 1;
      if (percent < format_.size()) convert();
    }
    return text_;
  }

 private:
  char peek() const { return position_ < format_.size() ? format_[position_] : '\0'; }
  char take() { return position_ < format_.size() ? format_[position_++] : '\0'; }

  int takeNumber() {
    if (peek() == '*') {
      ++position_;
      return static_cast<int>(std::clamp(values_.number(4, true), -kMostDigits, kMostDigits));
    }
    long long number = 0;
    while (peek() >= '0' && peek() <= '9') {
      number = std::min(number * 10 + (take() - '0'), kMostDigits);
    }
    return static_cast<int>(number);
  }

  std::size_t takeSize() {
    switch (peek()) {
      case 'h':
        ++position_;
        if (peek() != 'h') return 2;
        ++position_;
        return 1;
      case 'l':
        ++position_;
        if (peek() != 'l') return longSize_;
        ++position_;
        return 8;
      case 'L':
      case 'q':
      case 'j':
        ++position_;
        return 8;
      case 'z':
      case 'Z':
      case 't':
        ++position_;
        return longSize_;
      default:
        return 4;
    }
  }

  void convert() {
    Conversion how;
    while (std::string_view("-+ #0").find(peek()) != std::string_view::npos && peek() != '\0') {
      const char flag = take();
      if (how.flags.find(flag) == std::string::npos) how.flags += flag;
    }
    how.width = takeNumber();
    if (how.width < 0) {
      how.flags += '-';
      how.width = -how.width;
    }
    if (peek() == '.') {
      ++position_;
      how.precision = std::max(takeNumber(), 0);
    }
    how.size = takeSize();
    how.letter = take();
    print(how);
  }

  void print(const Conversion& how) {
    switch (how.letter) {
      case '%':
        text_ += '%';
        return;
      case 'c':
        return pad(std::string(1, static_cast<char>(values_.number(1, false))), how);
      case 's':
        return printWord(values_.text(), how);
      case 'p':
        return printPointer(how);
      case 'd':
      case 'i':
        return printNumber(how, values_.number(how.size, true), true);
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        return printNumber(how, values_.number(how.size, false), false);
      default:
        text_ += '%';
        if (how.letter != '\0') text_ += how.letter;
    }
  }

  void printWord(std::string_view word, const Conversion& how) {
    if (how.precision) word = word.substr(0, static_cast<std::size_t>(*how.precision));
    pad(std::string(word), how);
  }

  void pad(const std::string& word, const Conversion& how) {
    const auto width = static_cast<std::size_t>(how.width);
    const std::size_t missing = width - std::min(width, word.size());
    const bool isLeft = how.flags.find('-') != std::string::npos;
    text_ += isLeft ? word + std::string(missing, ' ') : std::string(missing, ' ') + word;
  }

  void printNumber(const Conversion& how, long long number, bool isSigned) {
    std::string format = "%" + how.flags + "*";
    if (how.precision) format += "." + std::to_string(*how.precision);
    format += "ll";
    format += isSigned ? 'd' : how.letter;
    std::array<char, 2 * kMostDigits + 32> digits{};
    // The format is made above, of nothing but flags and numbers that fit.
    std::snprintf(digits.data(), digits.size(), format.c_str(), how.width, number);
    text_ += digits.data();
  }

  /// Letters behind the 'p' say what it points to. Functions are stored as addresses; of everything
  /// else the kernel has stored the text.
  void printPointer(const Conversion& how) {
    const char kind = peek();
    const bool isPlain = std::isalnum(static_cast<unsigned char>(kind)) == 0;
    const bool isSymbol = std::string_view("sSfFB").find(kind) != std::string_view::npos;
    const bool isAddress = isPlain || isSymbol || kind == 'x' || kind == 'K' || kind == 'e';
    while (std::isalnum(static_cast<unsigned char>(peek())) != 0) ++position_;
    if (!isAddress) return printWord(values_.text(), how);
    const auto address = static_cast<std::uint64_t>(values_.number(longSize_, false));
    const std::string symbol = isSymbol && !isPlain ? symbolAt_(address) : std::string();
    if (!symbol.empty()) return pad(symbol, how);
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "0x%llx", static_cast<unsigned long long>(address));
    pad(digits.data(), how);
  }

  std::string_view format_;
  std::size_t position_ = 0;
  Values values_;
  std::size_t longSize_;
  const std::function<std::string(std::uint64_t)>& symbolAt_;
  std::string text_;
};

}  // namespace

std::string printText(std::string_view format, std::span<const std::byte> values,
                      const RingLayout& layout,
                      const std::function<std::string(std::uint64_t)>& symbolAt) {
  return Printer(format, values, layout, symbolAt).print();
}

}  // namespace tavrin
