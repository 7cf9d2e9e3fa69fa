#pragma once

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

#include "TestSupport.h"

/// What the tests of the stores and tables share.
namespace storage_test {

/// Runs in a folder of its own, which the temporary files lie in, with a captured log.
class StorageTest : public testing::Test {
 protected:
  void SetUp() override {
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
  }
  void TearDown() override { std::filesystem::current_path(previous_); }

  static std::size_t filesHere() {
    const auto files = std::filesystem::directory_iterator(".");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

  TempFolder folder_;
  LogCapture log_;

 private:
  std::filesystem::path previous_;
};

struct ScarceKind {
  const char* name;
  bool mounts;  // needs the right to do so
  const char* error;
};

inline constexpr std::array<ScarceKind, 2> kKindsOfScarceStorage{{
    {"full", true, "28: No space left on device"},
    {"limited", false, "27: File too large"},
}};

/// Makes a folder the current one in which files cannot get larger than about 2.5 MiB, until
/// `makeRoom` is called.
class ScarceStorage {
 public:
  ScarceStorage(const ScarceKind& kind, std::string folder)
      : mounts_(kind.mounts), folder_(std::move(folder)), previous_(current()) {
    std::filesystem::create_directory(folder_);
    works_ = !mounts_ || mount("tmpfs", folder_.c_str(), "tmpfs", 0, "size=2500k") == 0;
    if (!works_) return;
    std::filesystem::current_path(folder_);
    if (!mounts_) {
      oldHandler_ = std::signal(SIGXFSZ, SIG_IGN);
      setFileLimit(rlim_t{2500} * 1024);
    }
  }
  ~ScarceStorage() {
    makeRoom();
    std::filesystem::current_path(previous_);
    if (mounts_ && works_) umount2(folder_.c_str(), MNT_DETACH);
    if (!mounts_) std::signal(SIGXFSZ, oldHandler_);
  }
  ScarceStorage(const ScarceStorage&) = delete;
  ScarceStorage& operator=(const ScarceStorage&) = delete;

  bool works() const { return works_; }
  void makeRoom() {
    if (!mounts_) {
      setFileLimit(RLIM_INFINITY);
    } else if (works_) {
      mount(nullptr, folder_.c_str(), nullptr, MS_REMOUNT, "size=100m");
    }
  }

 private:
  static std::filesystem::path current() { return std::filesystem::current_path(); }
  static void setFileLimit(rlim_t bytes) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limit);
  }

  const bool mounts_;
  const std::string folder_;
  const std::filesystem::path previous_;
  bool works_ = false;
  sighandler_t oldHandler_ = SIG_DFL;
};

/// The descriptor of an open file, or -1.
inline int descriptorOf(const std::string& name) {
  const auto wanted = std::filesystem::canonical(name);
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (std::filesystem::read_symlink(entry.path(), gone) == wanted) {
      return std::stoi(entry.path().filename());
    }
  }
  return -1;
}

/// Has an open file be one that has no positions, as long as it is open.
inline void makeUnseekable(const std::string& name) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  dup2(ends[1], descriptorOf(name));
  for (const int end : ends) close(end);
}

}  // namespace storage_test
