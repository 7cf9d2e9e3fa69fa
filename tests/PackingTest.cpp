#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"
#include "packing/Packing.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/import/Recognition.h"

namespace tavrin {
namespace {

constexpr Packing kPackings[] = {Packing::Gzip, Packing::Zstd};

bool isHere(Packing packing) {
  return whyNotPacked(packing).empty();
}

/// Each of the texts as a frame.
std::string packed(Packing packing, const std::vector<std::string>& texts) {
  const auto packer = createPacker(packing);
  std::string bytes;
  for (const std::string& text : texts) {
    EXPECT_EQ(packer->pack(text, bytes), 0);
    EXPECT_EQ(packer->endFrame(bytes), 0);
    EXPECT_EQ(packer->endFrame(bytes), 0);  // there is none
  }
  return bytes;
}

/// What an input with these bytes has. Returns 0, or 1 with the cause in `text`.
int readInput(const std::string& bytes, std::string& text) {
  const TempFolder folder;
  folder.write("input", bytes);
  const auto input = openInput(folder.path("input"), nullptr);
  text.clear();
  std::string room(1000, '\0');
  for (;;) {
    const long long count = input->read(room.data(), room.size());
    if (count == 0) return 0;
    if (count < 0) {
      text = input->readError();
      return 1;
    }
    text.append(room, 0, static_cast<std::size_t>(count));
  }
}

std::string manyLines() {
  std::string text;
  for (unsigned int i = 0; i < 20000; ++i) text += std::to_string(i * 2654435761U) + "\n";
  return text;
}

TEST(Packing, InputsAreUnpackedByTheirContent) {
  const std::string lines = manyLines();
  const std::string whole = lines + "a\n" + lines;
  const std::string filling(5000, '\0');
  for (const Packing packing : kPackings) {
    if (!isHere(packing)) continue;
    std::string text;
    const std::string bytes = packed(packing, {lines, "a\n", lines});
    EXPECT_LT(bytes.size(), lines.size());
    EXPECT_EQ(readInput(bytes, text), 0) << text;
    EXPECT_EQ(text, whole);
    EXPECT_EQ(readInput(bytes + filling, text), 0) << text;
    EXPECT_EQ(text, whole);
  }
  std::string text;
  for (const std::string plain : {"", "\x1F", "\x28\xB5\x2F", "\x28\xB5plain"}) {
    EXPECT_EQ(readInput(plain, text), 0);
    EXPECT_EQ(text, plain);
  }
}

TEST(Packing, WhatIsCutEndsWithWhatCanBeUnpacked) {
  const std::string lines = manyLines().substr(0, 1000);
  for (const Packing packing : kPackings) {
    if (!isHere(packing)) continue;
    const std::string first = packed(packing, {lines});
    const std::string both = packed(packing, {lines, lines});
    for (std::size_t size = 4; size < both.size(); ++size) {
      std::string text;
      EXPECT_EQ(readInput(both.substr(0, size), text), 0) << size << text;
      EXPECT_TRUE((lines + lines).starts_with(text)) << size;
      EXPECT_GE(text.size(), size >= first.size() ? lines.size() : 0) << size;
    }
  }
}

TEST(Packing, WhatIsDamagedIsAnError) {
  for (const Packing packing : kPackings) {
    if (!isHere(packing)) continue;
    const std::string bytes = packed(packing, {manyLines()});
    for (const std::size_t place : {std::size_t{20}, bytes.size() / 2, bytes.size() - 2}) {
      std::string damaged = bytes;
      damaged[place] = static_cast<char>(damaged[place] ^ 0x55);
      std::string text;
      EXPECT_EQ(readInput(damaged, text), 1) << place;
      EXPECT_EQ(text, "what is packed in it is damaged");
    }
    std::string text;
    EXPECT_EQ(readInput(bytes + "more", text), 1);
  }
}

TEST(Packing, NamesTellHowToPack) {
  EXPECT_EQ(packingOfName("a.jsonl.gz"), Packing::Gzip);
  EXPECT_EQ(packingOfName("a.zst"), Packing::Zstd);
  EXPECT_EQ(packingOfName("a.gz.jsonl"), std::nullopt);
}

}  // namespace
}  // namespace tavrin
