#pragma once

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <random>
#include <string>

#include "hostcommon/Platform.h"
#include "hostcommon/Utf8Path.h"
#include "writers/host/PluginEnvironment.h"

/// Where the tests cannot ask Python.
#if defined(_WIN32)
inline constexpr bool kIsWindows = true;
#else
inline constexpr bool kIsWindows = false;
#endif

/// Sets an environment variable; null removes it. (Windows takes empty text for null.)
inline void setEnvironment(const char* name, const char* value) {
#if defined(_WIN32)
  _putenv_s(name, value == nullptr ? "" : value);
#else
  value == nullptr ? unsetenv(name) : setenv(name, value, 1);
#endif
}

/// The seed of everything that a test draws at random: TAVRIN_TEST_SEED where that is set, else a
/// new one. It is printed, so that a failure can be had again.
inline unsigned int testSeed() {
  static const unsigned int seed = [] {
    const char* const given = std::getenv("TAVRIN_TEST_SEED");
    const auto used = given == nullptr
                          ? std::random_device()()
                          : static_cast<unsigned int>(std::strtoul(given, nullptr, 10));
    std::printf("TAVRIN_TEST_SEED=%u\n", used);
    return used;
  }();
  return seed;
}

/// A folder of the test's own, removed with all its contents at the end.
class TempFolder {
 public:
  TempFolder()
      : path_(pwr::platform::createPrivateDirectory(
            pwr::utf8FromPath(std::filesystem::temp_directory_path()))) {}
  ~TempFolder() {
    const std::filesystem::path folder = pwr::pathFromUtf8(path_);
    std::error_code error;
    // Windows does not remove the current folder.
    if (std::filesystem::equivalent(".", folder, error)) {
      std::filesystem::current_path(folder.parent_path());
    }
    std::filesystem::remove_all(folder);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string path(const std::string& name = "") const { return path_ + "/" + name; }
  void write(const std::string& name, const std::string& text) const {
    const std::filesystem::path file = pwr::pathFromUtf8(path(name));
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
  }

 private:
  std::string path_;
};

inline std::string readFile(const std::string& path) {
  std::ifstream file(pwr::pathFromUtf8(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Puts a folder in the place of a file, so that no file can get the name.
inline void obstruct(const std::string& path) {
  std::filesystem::create_directory(pwr::pathFromUtf8(path));
}

/// Makes a folder whose path, which ends with a slash, has more than 800 bytes.
inline std::string makeDeepFolder(const TempFolder& folder) {
  std::string path = folder.path();
  while (path.size() < 800) path += std::string(99, 'f') + "/";
  std::filesystem::create_directories(path);
  return path;
}

#if !defined(_WIN32)
/// As long as it exists, no file can grow beyond `bytes`: a disk that is full as seen by a writer.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes = 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
};
#endif

/// A log in which memory runs out while the line that comes after `lines` others is written. Error
/// lines go through.
struct ScarceMemoryLog : pwr::Logger {
  void log(PWLogLevel level, const char* line) override {
    if (level == PW_LOG_ERROR) {
      errors += line;
    } else if (lines-- == 0) {
      throw std::bad_alloc();
    }
  }
  int write(const void* /*bytes*/, std::size_t /*count*/) override { return 0; }
  int flush() override { return 0; }
  int close() override { return 0; }

  int lines = 0;
  std::string errors;
};

/// Gives the process an environment whose log lines can be read, for as long as it exists.
class LogCapture {
 public:
  LogCapture() : previous_(g_pluginEnvironment) {
    environment_.setSinks(errors_, general_);
    g_pluginEnvironment = &environment_;
  }
  ~LogCapture() { g_pluginEnvironment = previous_; }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::string& errors() const { return errors_->text; }
  const std::string& general() const { return general_->text; }
  std::string all() const { return errors() + general(); }
  void clear() {
    errors_->text.clear();
    general_->text.clear();
  }

 private:
  struct Sink : pwr::Logger {
    void log(PWLogLevel /*level*/, const char* line) override { text += line; }
    int write(const void* bytes, std::size_t count) override {
      text.append(static_cast<const char*>(bytes), count);
      return 0;
    }
    int flush() override { return 0; }
    int close() override { return 0; }
    std::string text;
  };

  PluginEnvironment environment_;
  PluginEnvironment* previous_;
  std::shared_ptr<Sink> errors_ = std::make_shared<Sink>();
  std::shared_ptr<Sink> general_ = std::make_shared<Sink>();
};
