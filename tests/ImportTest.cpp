#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "tavrin/common/CommandError.h"
#include "tavrin/import/Recognition.h"
#include "tests/TestSupport.h"

namespace {

/// Gives a text in pieces, as a pipe does, and then fails where it is told to.
class Pieces final : public tavrin::ByteSource {
 public:
  Pieces(std::string text, std::size_t size, bool fails = false)
      : text_(std::move(text)), size_(size), fails_(fails) {}

  long long read(char* buffer, std::size_t size) override {
    const std::size_t count = std::min({size, size_, text_.size() - at_});
    if (count == 0 && fails_) return -1;
    at_ += text_.copy(buffer, count, at_);
    return static_cast<long long>(count);
  }
  std::string readError() const override { return "Broken pieces"; }
  bool isStopped() const override { return false; }
  bool isLive() const override { return true; }
  const std::string& name() const override { return name_; }
  std::string path() const override { return {}; }
  /// How much was asked for.
  std::size_t taken() const { return at_; }

 private:
  std::string name_ = "pieces";
  std::string text_;
  std::size_t size_;
  bool fails_;
  std::size_t at_ = 0;
};

struct CountingSink : pwr::MessageSink {
  void system(const pwr::SystemMetadata& /*metadata*/) override { ++messages; }
  void container(const pwr::MetricContainerInfoMessage& /*message*/) override { ++messages; }
  void metric(pwr::Metric& /*metric*/) override { ++messages; }
  void remainder(pwr::Metric& /*metric*/) override { ++messages; }
  void table(const pwr::TableMessage& /*message*/) override { ++messages; }
  void text(const pwr::TextMessage& /*message*/) override { ++messages; }
  void id(const pwr::IdMessage& /*message*/) override { ++messages; }
  void flush() override { ++messages; }

  std::size_t messages = 0;
};

struct Imported {
  explicit Imported(std::unique_ptr<tavrin::ByteSource> source) {
    tavrin::PeekedSource input(std::move(source));
    try {
      const auto import = tavrin::openImport(input, sink, {});
      import->replay(error);
      for (const std::string& warning : import->warnings()) error += warning;
    } catch (const tavrin::CommandError& fault) {
      error = fault.what();
    }
  }

  CountingSink sink;
  std::string error;
};

Imported importPieces(const std::string& text, std::size_t size, bool fails = false) {
  return Imported(std::make_unique<Pieces>(text, size, fails));
}

TEST(Import, AStreamIsTheSameInPiecesOfAnySize) {
  const std::string stream = readFile(PW_TEST_DATA "/stream-all-kinds.jsonl");
  const std::size_t whole = importPieces(stream, stream.size()).sink.messages;
  EXPECT_GT(whole, 10U);
  for (const std::size_t size : {1U, 7U, 100U, 16384U}) {
    const Imported imported = importPieces(stream, size);
    EXPECT_EQ(imported.error, "") << size;
    EXPECT_EQ(imported.sink.messages, whole) << size;
  }
}

TEST(Import, AProgramsStreamIsRecognisedByWhatItHasWritten) {
  const std::string header = "{\"type\":\"tavrin-stream\",\"version\":2}\n";
  auto pieces = std::make_unique<Pieces>(header + std::string(1000, ' '), 10);
  const Pieces* const read = pieces.get();
  tavrin::PeekedSource input(std::move(pieces));
  CountingSink sink;
  const auto import = tavrin::openImport(input, sink, {});
  EXPECT_LE(read->taken(), header.size());
}

TEST(Import, ContentDecides) {
  const struct {
    std::string content;
    const char* error;
  } kRows[] = {
      {"", "pieces: there is nothing in it"},
      {"\xEF\xBB\xBF\r\n {\"version\":2,\"type\":\"tavrin-stream\"}",
       "pieces:2: the stream ends before its system record"},
      {"{\"type\":\"tavrin\",", "pieces:1: not valid JSON: Missing a name for object member"},
      {std::string("\xFF\xFE{\0", 4), "pieces:1: the stream is UTF-16 and has to be UTF-8"},
      {"nothing of the kind\n", "pieces: its content is none of what can be read: "},
      {std::string(100'000, '\0'), "pieces: its content is none of what can be read: "},
  };
  for (const auto& [content, error] : kRows) {
    const Imported imported = importPieces(content, 5);
    EXPECT_EQ(imported.error.substr(0, std::string(error).size()), error);
    EXPECT_EQ(imported.sink.messages, 0U);
  }
}

TEST(Import, AnInputThatCannotBeReadTellsWhy) {
  EXPECT_EQ(importPieces("{\"type\":\"tavrin-stream\",\"version\":2}\n", 10, true).error,
            "pieces:1: cannot be read: Broken pieces");
  EXPECT_EQ(importPieces("", 10, true).error, "pieces:0: cannot be read: Broken pieces");
}

}  // namespace
