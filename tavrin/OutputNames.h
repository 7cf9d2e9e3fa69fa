#pragma once

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "hostcommon/session/PluginLibraries.h"

namespace tavrin {

/// The names of the files that a run will write, known before any of them is touched.
class OutputNames {
 public:
  /// `given` is the base name as the user gave it: the ending of a writer's file is cut off, of
  /// which the user is told. Throws CommandError for what cannot be a base name: nothing, a folder.
  /// The chosen writers write either one file each or, when `continuous`, those that can numbered
  /// ones. The base name gets the suffix.
  OutputNames(const std::string& given, const pwr::PluginLibraries& plugins,
              const std::vector<WriterPlugin*>& chosen, bool continuous,
              const std::string& suffix = {});

  const std::string& baseName() const { return baseName_; }

  /// Throws CommandError when two of the files are the same one, by name or by links.
  void refuseSharedFiles() const;
  /// Throws CommandError when `path`, which messages call `role` ("the input"), is one of the
  /// files.
  void refuse(const std::string& path, const std::string& role) const;
  /// Numbered files of an earlier run that those of this run would mix with.
  std::vector<std::filesystem::path> leftovers() const;
  /// Makes the folder of the files. Throws CommandError when that fails.
  void makeFolder() const;
  /// Likewise, and returns why it fails.
  std::error_code ensureFolder() const;

 private:
  std::filesystem::path folder() const;
  bool isNumbered(const std::filesystem::path& file) const;

  std::string baseName_;
  std::vector<std::filesystem::path> files_;
  std::vector<std::string> numberedEndings_;  ///< of files BASE_N
};

}  // namespace tavrin
