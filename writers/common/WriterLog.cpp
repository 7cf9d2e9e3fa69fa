#include "writers/common/WriterLog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <memory>
#include <string_view>

namespace {

constexpr std::string_view kWarningWord = "WARNING: ";
constexpr std::string_view kDebugWord = "DEBUG: ";

/// Puts the word of debug lines in the place of the one for warnings, with which `line` begins.
const char* withDebugWord(char* line) {
  char* const start = line + (kWarningWord.size() - kDebugWord.size());
  std::copy(kDebugWord.begin(), kDebugWord.end(), start);
  return start;
}

}  // namespace

bool WriterLog::isDebugging() const {
  return g_pluginEnvironment->isDebugLoggingEnabledFor(debugTag_);
}

void WriterLog::write(PWLogLevel level, const char* format, ...) const {
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  const std::size_t size = length < 0 ? 1 : static_cast<std::size_t>(length) + 1;
  const auto line = std::make_unique<char[]>(size);
  std::vsnprintf(line.get(), size, format, arguments);
  va_end(arguments);
  const bool isDemoted =
      level == PW_LOG_DEBUG && std::string_view(line.get()).starts_with(kWarningWord);
  g_pluginEnvironment->getLogger(level)->log(level,
                                             isDemoted ? withDebugWord(line.get()) : line.get());
}

PWLogLevel ToldProblems::levelOf(const char* problem, unsigned int metric, const void* entity,
                                 const void* descriptor) {
  constexpr std::size_t kMost = 4096;
  const Told told{problem, metric, entity, descriptor};
  if (told_.contains(told) || told_.size() >= kMost) return PW_LOG_DEBUG;
  told_.insert(told);
  return PW_LOG_WARNING;
}

std::size_t ToldProblems::Hash::operator()(const Told& told) const {
  constexpr std::size_t kFactor = 31;
  std::size_t hash = std::hash<const void*>()(told.problem) * kFactor + told.metric;
  hash = hash * kFactor + std::hash<const void*>()(told.entity);
  return hash * kFactor + std::hash<const void*>()(told.descriptor);
}
