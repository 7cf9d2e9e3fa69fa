#pragma once

#include <string>

/// A directory for temporary files that no other process can guess, enter or share. It comes into
/// being when it is first needed, so a run without temporary files leaves no trace even if it is
/// killed.
class PrivateDirectory {
 public:
  PrivateDirectory() = default;
  ~PrivateDirectory();
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  /// Where the directory will be created ("" for the current directory). Call before `create`.
  void setParent(std::string parent) { parent_ = std::move(parent); }
  const std::string& getParent() const { return parent_; }

  /// The path of the directory, which is created by the first call; "" with errno set when it
  /// cannot be created (the next call tries again).
  const std::string& create();

  /// Removes the directory, which must be empty by now; the destructor does the same.
  void remove();

 private:
  std::string parent_;
  std::string path_;
};
