#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "StorageTestSupport.h"
#include "writers/columns/ZtExtensibleBackingStore.h"

namespace {

using pwr::ZtExtensibleBackingStore;
using storage_test::ScarceStorage;
using storage_test::StorageTest;

constexpr std::uint32_t kFailed = pwr::ZtBufferProvider::kFailed;
constexpr std::size_t kMiB = 0x100000;

class BackingStoreTest : public StorageTest {};
class ScarceStoreTest : public StorageTest,
                        public testing::WithParamInterface<storage_test::ScarceKind> {};

std::string randomText(std::mt19937& random, std::size_t size) {
  static const std::string pool = [] {
    std::mt19937 letters(testSeed());
    std::string text(5 * kMiB, ' ');
    for (char& letter : text) letter = static_cast<char>('a' + letters() % 26);
    return text;
  }();
  return pool.substr(random() % (pool.size() - size), size);
}

std::uint32_t write(ZtExtensibleBackingStore& store, std::string_view text) {
  return store.write(text.data(), static_cast<std::uint32_t>(text.size()));
}

/// What `operation` (read, peek or readBackward) gives; nothing when it fails.
template <typename Operation>
std::optional<std::string> get(ZtExtensibleBackingStore& store, Operation operation,
                               std::size_t count) {
  std::string text(count, '?');
  const std::uint32_t got = (store.*operation)(text.data(), static_cast<std::uint32_t>(count));
  if (got == kFailed) return std::nullopt;
  // Backwards, what is there fills the end.
  if (got < count && text.front() == '?') return text.substr(count - got);
  return text.substr(0, got);
}
std::optional<std::string> read(ZtExtensibleBackingStore& store, std::size_t count) {
  return get(store, &ZtExtensibleBackingStore::read, count);
}
std::optional<std::string> contents(ZtExtensibleBackingStore& store) {
  store.resetForReading();
  return read(store, store.size());
}

TEST_F(BackingStoreTest, TempFile) {
  std::string name;
  {
    ZtExtensibleBackingStore store;
    name = store.getTempFileName();
    const std::string start = "./_" + std::to_string(getpid()) + "_";
    EXPECT_EQ(name.substr(0, start.size()), start);
    EXPECT_EQ(name.find_first_not_of("0123456789", start.size()), std::string::npos);
    struct stat status {};
    ASSERT_EQ(stat(name.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    // Up to 1 MiB stays in memory, the byte after it has the first MiB written.
    write(store, std::string(kMiB, 'x'));
    EXPECT_EQ(std::filesystem::file_size(name), 0U);
    write(store, "y");
    EXPECT_EQ(std::filesystem::file_size(name), kMiB);
    const auto other = store.create();
    EXPECT_EQ(other->size(), 0U);
    EXPECT_EQ(filesHere(), 2U);
  }
  EXPECT_EQ(filesHere(), 0U);
  EXPECT_EQ(log_.all(), "");
  {
    g_pluginEnvironment->setVerbosity(PW_LOG_DEBUG);
    const ZtExtensibleBackingStore store;
    std::filesystem::remove(name = store.getTempFileName());
  }
  EXPECT_EQ(log_.all(), "DEBUG: couldn't delete tmp file " + name + "\n");
}

// Neither a file nor a link that bears the next names is touched.
TEST_F(BackingStoreTest, TakenNames) {
  const std::string start = "./_" + std::to_string(getpid()) + "_";
  std::srand(7);
  const std::string file = start + std::to_string(std::rand());
  const std::string link = start + std::to_string(std::rand());
  const std::string next = start + std::to_string(std::rand());
  folder_.write(file, "precious");
  std::filesystem::create_symlink("victim", link);
  std::srand(7);
  const ZtExtensibleBackingStore store;
  EXPECT_EQ(store.getTempFileName(), next);
  EXPECT_EQ(readFile(file), "precious");
  EXPECT_FALSE(std::filesystem::exists("victim"));
}

TEST_F(BackingStoreTest, NoTempFile) {
  std::filesystem::create_directory("gone");
  std::filesystem::current_path("gone");
  std::filesystem::remove(folder_.path("gone"));
  std::srand(3);
  const std::string name = "./_" + std::to_string(getpid()) + "_" + (std::to_string(std::rand()));
  std::srand(3);
  std::string thrown;
  try {
    const ZtExtensibleBackingStore store;
  } catch (const char* text) {
    thrown = text;
  }
  EXPECT_EQ(thrown, "Couldn't initialize buffer\n");
  EXPECT_EQ(log_.general(), "WARNING: open error: errnum=2: No such file or directory\n");
  EXPECT_EQ(log_.errors(), "ERROR: Failed to initialize temporary file " + name +
                               ": errnum=2: No such file or directory\n");
}

TEST_F(BackingStoreTest, Positions) {
  ZtExtensibleBackingStore store;
  EXPECT_EQ(read(store, 5), "");
  EXPECT_EQ(write(store, "0123456789"), 10U);
  EXPECT_EQ(read(store, 4), "0123");
  EXPECT_EQ(get(store, &ZtExtensibleBackingStore::peek, 3), "456");
  EXPECT_EQ(read(store, 100), "456789");
  EXPECT_EQ(read(store, 1), "");
  EXPECT_EQ(get(store, &ZtExtensibleBackingStore::readBackward, 4), "6789");
  EXPECT_EQ(store.getReadPosition(), 6U);
  EXPECT_EQ(store.seekWriteToRead(), 6U);
  EXPECT_EQ(write(store, "ab"), 2U);
  EXPECT_EQ(store.size(), 10U);
  EXPECT_EQ(store.insert(2, "--", 2), 0);
  EXPECT_EQ(store.insert(12, "end", 3), 0);
  EXPECT_EQ(store.insert(16, "no", 2), -1);
  EXPECT_EQ(store.getReadPosition(), 6U);
  EXPECT_EQ(store.getWritePosition(), 15U);
  EXPECT_EQ(contents(store), "01--2345ab89end");
  // Behind the end nothing can be read, and writing goes on at the end.
  EXPECT_TRUE(store.setReadPosition(16));
  EXPECT_EQ(read(store, 1), std::nullopt);
  EXPECT_EQ(get(store, &ZtExtensibleBackingStore::readBackward, 1), std::nullopt);
  EXPECT_EQ(get(store, &ZtExtensibleBackingStore::peek, 1), "");
  EXPECT_EQ(store.seekWriteToRead(), 16U);
  EXPECT_EQ(write(store, "!"), 1U);
  EXPECT_EQ(contents(store), "01--2345ab89end!");
  EXPECT_EQ(log_.all(), "");
}

// A write position that moves back leaves behind it what is in memory alone: it is neither written
// out then, nor when the range moves.
TEST_F(BackingStoreTest, WhatTheWritePositionLeavesBehind) {
  for (const bool insertsInstead : {false, true}) {
    ZtExtensibleBackingStore store;
    const std::string& file = store.getTempFileName();
    write(store, std::string(kMiB, 'x') + "0123456789");
    EXPECT_EQ(std::filesystem::file_size(file), kMiB);
    EXPECT_TRUE(store.setReadPosition(kMiB));  // writes everything out
    write(store, "abcdef");
    EXPECT_EQ(read(store, 13), "0123456789abc");
    if (insertsInstead) {
      // In front of the range: all of it is left behind.
      EXPECT_EQ(store.insert(5, "", 0), 0);
      EXPECT_EQ(store.getWritePosition(), 5U);
    } else {
      EXPECT_EQ(store.seekWriteToRead(), kMiB + 13);
      EXPECT_EQ(write(store, "C"), 1U);
      EXPECT_EQ(read(store, 3), "Cef");
    }
    EXPECT_TRUE(store.isDirty());
    EXPECT_EQ(std::filesystem::file_size(file), kMiB + 10);
    EXPECT_EQ(log_.all(), "");
    store.resetForReading();
    EXPECT_EQ(readFile(file).substr(kMiB), insertsInstead ? "0123456789" : "0123456789abcC");
  }
}

/// Takes random steps on a store and on bytes in memory. A step is false when they differ.
class RandomSteps {
 public:
  explicit RandomSteps(unsigned int seed) : random_(seed) {}

  bool take() {
    // Most pieces are small; some reach across the edge of the buffer.
    const std::size_t count = random_() % (random_() % 8 == 0 ? 3 * kMiB / 2 : 3000);
    const std::string text = randomText(random_, random_() % 16 == 0 ? 0 : count);
    const std::size_t somewhere = random_() % (bytes_.size() + 1);
    return takeStep(count, text, somewhere) && store_->size() == bytes_.size() &&
           store_->getReadPosition() == read_ && store_->getWritePosition() == write_;
  }
  bool hasSameContents() { return contents(*store_) == bytes_; }

 private:
  bool takeStep(std::size_t count, const std::string& text, std::size_t somewhere) {
    const auto size = static_cast<std::uint32_t>(text.size());
    const std::string ahead = bytes_.substr(read_, count);
    switch (random_() % 12) {
      case 0:
        read_ += ahead.size();
        return read(*store_, count) == ahead;
      case 1:
        count = std::min(count, read_);
        read_ -= count;
        return get(*store_, &ZtExtensibleBackingStore::readBackward, count) ==
               bytes_.substr(read_, count);
      case 2:
        return get(*store_, &ZtExtensibleBackingStore::peek, count) == ahead;
      case 3:
        read_ = 0;
        store_->resetForReading();
        return true;
      case 4:
        read_ = bytes_.size();
        store_->resetToEnd();
        return true;
      case 5:
        write_ = read_;
        return store_->setReadPosition(read_) && store_->seekWriteToRead() == read_;
      case 6:
        read_ = somewhere;
        return store_->setReadPosition(read_);
      case 7:
        // Many small pieces would take long.
        if (size > 0 && size < 100) return true;
        bytes_.insert(somewhere, text);
        write_ = text.empty() ? somewhere : bytes_.size();
        return store_->setReadPosition(read_) &&
               store_->insert(bytes_.size() + 1, text.data(), size) == -1 &&
               store_->insert(somewhere, text.data(), size) == 0;
      case 8:
        if (bytes_.size() < 4 * kMiB) return true;
        store_.reset(static_cast<ZtExtensibleBackingStore*>(store_->create().release()));
        bytes_.clear();
        read_ = write_ = 0;
        return true;
      case 9:
        return readInPlace();
      default:
        bytes_.replace(write_, size, text);
        write_ += size;
        return write(*store_, text) == size;
    }
  }

  bool readInPlace() {
    const std::span<const char> bytes = store_->readInPlace();
    const std::size_t from = std::exchange(read_, read_ + bytes.size());
    return bytes.empty() == (from == bytes_.size()) && bytes.size() <= kMiB &&
           std::string_view(bytes.data(), bytes.size()) ==
               std::string_view(bytes_).substr(from, bytes.size());
  }

  std::mt19937 random_;
  std::unique_ptr<ZtExtensibleBackingStore> store_ = std::make_unique<ZtExtensibleBackingStore>();
  std::string bytes_;
  std::size_t read_ = 0;
  std::size_t write_ = 0;
};

TEST_F(BackingStoreTest, RandomStepsAgainstMemory) {
  for (unsigned int run = 0; run < 10; ++run) {
    RandomSteps steps(testSeed() + run);
    for (int step = 0; step < 400; ++step) ASSERT_TRUE(steps.take()) << "step " << step;
    ASSERT_TRUE(steps.hasSameContents());
  }
  EXPECT_EQ(log_.all(), "");
}

// While there is no room nothing gets lost, and when there is room again the store goes on.
TEST_P(ScarceStoreTest, NoRoom) {
  ScarceStorage scarce(GetParam(), folder_.path("scarce"));
  if (!scarce.works()) GTEST_SKIP() << "needs the right to mount a file system";
  ZtExtensibleBackingStore store;
  std::mt19937 random(testSeed());
  const std::string text = randomText(random, 4 * kMiB);
  EXPECT_EQ(write(store, text), kFailed);
  const std::string failure =
      std::string("WARNING: write error while flushing to disk!\n: errnum=") + GetParam().error +
      "\n";
  EXPECT_EQ(log_.all(), failure);
  EXPECT_EQ(store.getWritePosition(), store.size());
  EXPECT_GT(store.size(), kMiB);
  log_.clear();
  // Neither the read position nor the write position may move over what cannot be written.
  testing::internal::CaptureStderr();
  store.resetForReading();
  EXPECT_EQ(read(store, 10), std::nullopt);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR flushing dirty buffer while rewinding!\n"
            "ERROR flushing dirty buffer while rewinding!\n");
  EXPECT_EQ(log_.all(),
            failure + "WARNING: WARNING: couldn't reset buffer for reading!\n" + failure);
  EXPECT_EQ(store.getReadPosition(), 0U);
  const std::uint64_t taken = store.size();
  EXPECT_EQ(store.getWritePosition(), taken);
  scarce.makeRoom();
  EXPECT_EQ(write(store, std::string_view(text).substr(taken)), text.size() - taken);
  EXPECT_TRUE(contents(store) == text);
}
INSTANTIATE_TEST_SUITE_P(Kinds, ScarceStoreTest,
                         testing::ValuesIn(storage_test::kKindsOfScarceStorage),
                         [](const auto& test) { return test.param.name; });

TEST_F(BackingStoreTest, UnreadableFile) {
  ZtExtensibleBackingStore store;
  std::mt19937 random(testSeed());
  const std::string text = randomText(random, 3 * kMiB + 77);
  write(store, text);
  store.resetForReading();
  EXPECT_EQ(read(store, 10), text.substr(0, 10));
  const std::string stored = readFile(store.getTempFileName());
  std::filesystem::resize_file(store.getTempFileName(), kMiB + 100);
  const std::string failure = "WARNING: read error: errnum=5: Input/output error\n";
  // The second MiB cannot be read, the first one is in memory.
  EXPECT_EQ(get(store, &ZtExtensibleBackingStore::peek, 2 * kMiB), text.substr(10, kMiB - 10));
  EXPECT_EQ(log_.all(), failure);
  EXPECT_EQ(store.getReadPosition(), 10U);
  EXPECT_EQ(read(store, 2 * kMiB), std::nullopt);
  EXPECT_EQ(store.getReadPosition(), 10 + kMiB);
  store.resetToEnd();
  EXPECT_EQ(log_.all(),
            failure + failure + failure + "WARNING: WARNING: couldn't reset buffer for reading!\n");
  EXPECT_EQ(get(store, &ZtExtensibleBackingStore::readBackward, 5), std::nullopt);
  folder_.write(store.getTempFileName(), stored);
  EXPECT_EQ(get(store, &ZtExtensibleBackingStore::readBackward, 5), text.substr(text.size() - 5));
  EXPECT_TRUE(contents(store) == text);
}

TEST_F(BackingStoreTest, UnseekableFile) {
  ZtExtensibleBackingStore store;
  write(store, "abc");
  const int descriptor = storage_test::descriptorOf(store.getTempFileName());
  const int kept = dup(descriptor);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  dup2(ends[1], descriptor);
  testing::internal::CaptureStderr();
  store.resetToEnd();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR flushing dirty buffer while rewinding!\n");
  EXPECT_EQ(log_.all(),
            "WARNING: seekg error: errnum=29: Illegal seek\n"
            "WARNING: WARNING: couldn't reset buffer for reading!\n");
  dup2(kept, descriptor);
  for (const int extra : {kept, ends[0], ends[1]}) close(extra);
  EXPECT_EQ(contents(store), "abc");
}

}  // namespace
