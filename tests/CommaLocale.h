#pragma once

#include <clocale>
#include <cstdlib>
#include <locale>

#if !defined(_WIN32)
extern "C" {
// The leak checker's switches, where it is linked in.
__attribute__((weak)) void __lsan_disable();  // NOLINT
__attribute__((weak)) void __lsan_enable();   // NOLINT
}
#endif

/// Puts a locale in force that writes numbers with a comma, for as long as it exists.
class CommaLocale {
 public:
  CommaLocale() {
#if defined(_WIN32)
    // The only kind of locale that all C++ libraries know there.
    inForce_ = std::setlocale(LC_ALL, "German") != nullptr;
#else
    // Here alone: libraries that others link look for locales when they are loaded. The C library
    // keeps what it allocates for one that it finds so.
    ::setenv("LOCPATH", PW_TEST_LOCALES, 1);
    if (__lsan_disable != nullptr) __lsan_disable();
    inForce_ = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    if (inForce_) std::locale::global(std::locale("de_DE.UTF-8"));
    if (__lsan_enable != nullptr) __lsan_enable();
#endif
  }
  ~CommaLocale() {
    std::locale::global(std::locale::classic());
    std::setlocale(LC_ALL, "C");
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

  /// False where there is no such locale.
  bool inForce() const {
    return inForce_;
  }

 private:
  bool inForce_ = false;
};
