#pragma once

#include <set>
#include <string>
#include <vector>

#include "writers/host/HostApi.h"
#include "writers/host/TableMessage.h"

namespace pwr {

/// Something that a plugin advertises. Owned by the plugin that it is added to.
class PW_HOST_API PluginCapability {
 public:
  PluginCapability(std::string name, std::string description);
  virtual ~PluginCapability();

  const std::string& getName() const { return name_; }
  const std::string& getDescription() const { return description_; }

 private:
  std::string name_;
  std::string description_;
};

/// What a writer writes: the name by which users choose it, the tables it accepts, the type of file
/// it makes, and whether it can flush continuous results.
class PW_HOST_API WriterPluginCapability : public PluginCapability {
 public:
  /// `files`: what `getFiles` shall return; none stands for "BASE" and the extension.
  WriterPluginCapability(const std::set<TableClass>& tableClasses, const std::string& name,
                         const std::string& description, const std::string& extension, bool flag,
                         std::vector<std::string> files = {});
  ~WriterPluginCapability() override;

  const std::set<TableClass>& getTableClasses() const { return tableClasses_; }
  /// The generic type of the output; for the names of its files see below.
  const std::string& getExtension() const { return extension_; }
  /// True when the writer implements `flushContinuousResults`.
  bool getFlag() const { return flag_; }

  /// The names of the files of a run, in which "BASE" stands for the base name. A name without it
  /// is that of a file in the folder of the base name, which runs share.
  const std::vector<std::string>& getFiles() const { return files_; }
  /// The name of the files of a continuous run, in which "N" stands for their numbers: "BASE_N" and
  /// the extension. Empty for a writer without the flag.
  std::string getContinuousFile() const { return flag_ ? "BASE_N" + extension_ : ""; }

 private:
  std::set<TableClass> tableClasses_;
  std::string extension_;
  bool flag_;
  std::vector<std::string> files_;
};

}  // namespace pwr
