#pragma once

#include <deque>
#include <string>

#include "writers/host/HostApi.h"

/// Gives the writers the output configuration: the order of features and of the metrics within
/// each. The host loads it with `loadOutputConfigFile` (hostcommon) before it opens an output.
///
/// Every operation replaces its first argument and returns true, or returns false and leaves it
/// alone when the file has no such entries. While no file is loaded nothing is configured: the
/// orders of features and prefixes are empty and every look-up of a feature fails.
class PW_HOST_API WriterInterfaceConfigFileParser {
 public:
  static WriterInterfaceConfigFileParser* instance();

  /// False when the loaded file has no list of features of its own.
  bool getFeatureOrder(std::deque<std::string>& features) const;
  bool getMetricOrderForFeature(std::deque<std::string>& metrics, const std::string& feature) const;
  /// The features that the file has entries for, in the order of those; false when it has none.
  bool getAllFeaturePrefixes(std::deque<std::string>& prefixes) const;

  WriterInterfaceConfigFileParser(const WriterInterfaceConfigFileParser&) = delete;
  WriterInterfaceConfigFileParser& operator=(const WriterInterfaceConfigFileParser&) = delete;

 private:
  WriterInterfaceConfigFileParser() = default;
  ~WriterInterfaceConfigFileParser() = default;
};
