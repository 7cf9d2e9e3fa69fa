#pragma once

#include <set>
#include <string>

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
  WriterPluginCapability(const std::set<TableClass>& tableClasses, const std::string& name,
                         const std::string& description, const std::string& extension, bool flag);
  ~WriterPluginCapability() override;

  const std::set<TableClass>& getTableClasses() const { return tableClasses_; }
  const std::string& getExtension() const { return extension_; }
  /// True when the writer implements `flushContinuousResults`.
  bool getFlag() const { return flag_; }

 private:
  std::set<TableClass> tableClasses_;
  std::string extension_;
  bool flag_;
};

}  // namespace pwr
