#include "text/Blocks.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/SlowCoding.h"

namespace korvane {
namespace {

// Each form is asked for a stretch at every distance from the beginning of a text, and what it says
// of the bytes it took is compared with the slow way. Where there are no blocks it takes none.

constexpr char kGuard = '\x5A';

// A memory of a size, with bytes behind it that must not change.
struct Room {
  explicit Room(std::size_t size) : bytes(size + 8, kGuard), end(bytes.data()), size_(size) {}
  std::string written() const {
    return bytes.substr(0, static_cast<std::size_t>(end - bytes.data()));
  }
  bool isKept() const { return bytes.substr(size_) == std::string(8, kGuard); }
  std::string bytes;
  char* end;

 private:
  std::size_t size_;
};

std::string randomBytes(std::mt19937& random, std::size_t size, unsigned limit) {
  std::string bytes;
  for (; size > 0; --size) bytes += static_cast<char>(random() % limit);
  return bytes;
}

TEST(Blocks, EncodeBase64) {
  std::mt19937 random(1);
  for (std::size_t size = 0; size < 200; ++size) {
    const std::string bytes = randomBytes(random, size, 256);
    Room room(size / 3 * 4);
    const char* in = bytes.data();
    encodeBase64Blocks(in, in + size, room.end);
    const auto taken = static_cast<std::size_t>(in - bytes.data());
    ASSERT_EQ(taken % 3, 0U);
    ASSERT_EQ(room.written(), testing::slowlyBase64Encoded(bytes.substr(0, taken)));
    ASSERT_TRUE(room.isKept());
    ASSERT_LT(size - taken, hasBlocks() ? 16U : 201U);
  }
}

TEST(Blocks, DecodeBase64) {
  std::mt19937 random(2);
  for (int round = 0; round < 5000; ++round) {
    std::string text = testing::slowlyBase64Encoded(randomBytes(random, random() % 150, 256));
    while (text.ends_with('=')) text.pop_back();
    const std::size_t foreign = text.empty() ? 0 : random() % (2 * text.size());
    if (foreign < text.size()) text[foreign] = static_cast<char>(random() % 256);
    const bool isForeign =
        foreign < text.size() && kBase64Alphabet.find(text[foreign]) == kBase64Alphabet.npos;
    Room room(text.size() / 4 * 3 + kBase64BlockSlack);
    const char* in = text.data();
    decodeBase64Blocks(in, in + text.size(), room.end);
    const auto taken = static_cast<std::size_t>(in - text.data());
    ASSERT_EQ(taken % 4, 0U);
    ASSERT_EQ(room.written(),
              testing::slowlyBase64Decoded(text.substr(0, taken), Base64Leniency::whiteSpace));
    ASSERT_TRUE(room.isKept());
    if (hasBlocks()) {
      ASSERT_LT((isForeign ? foreign : text.size()) - taken, 16U);
    }
  }
}

TEST(Blocks, PercentEncoding) {
  std::mt19937 random(3);
  for (std::size_t size = 0; size < 300; ++size) {
    const std::string bytes = randomBytes(random, size, size % 2 == 0 ? 256 : 128);
    const char* in = bytes.data();
    const std::size_t escaped = countEscapedBlocks(in, in + size);
    auto taken = static_cast<std::size_t>(in - bytes.data());
    const std::string looked = bytes.substr(0, taken);
    ASSERT_EQ(looked.size() + 2 * escaped, testing::slowlyPercentEncoded(looked).size());
    ASSERT_LT(size - taken, hasBlocks() ? 16U : 301U);

    Room room(3 * size + kPercentBlockSlack);
    in = bytes.data();
    encodePercentBlocks(in, in + size, room.end);
    taken = static_cast<std::size_t>(in - bytes.data());
    ASSERT_EQ(room.written(), testing::slowlyPercentEncoded(bytes.substr(0, taken)));
    ASSERT_TRUE(room.isKept());
    ASSERT_LT(size - taken, hasBlocks() ? 16U : 301U);
  }
}

TEST(Blocks, PercentDecoding) {
  std::mt19937 random(4);
  const std::string_view pieces[] = {"%41", "%c3%A9", "a", "+", "zzzz", "%fF", "\xC3\xA9"};
  std::size_t refused = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (std::size_t n = random() % 60; n > 0; --n) text += pieces[random() % std::size(pieces)];
    if (round % 2 == 0 && !text.empty()) {
      text[random() % text.size()] = static_cast<char>(random() % 256);
    }
    Room room(text.size());
    const char* in = text.data();
    const bool isGood = decodePercentBlocks(in, in + text.size(), room.end, ' ');
    ASSERT_TRUE(room.isKept());
    const auto all = testing::slowlyPercentDecoded(text, true);
    if (!isGood) {
      ++refused;
      ASSERT_EQ(all, std::nullopt) << text;
      continue;
    }
    const auto taken = static_cast<std::size_t>(in - text.data());
    ASSERT_LE(taken, text.size());
    ASSERT_EQ(room.written(), testing::slowlyPercentDecoded(text.substr(0, taken), true)) << text;
    ASSERT_TRUE(!hasBlocks() || text.size() - taken < 18);
  }
  EXPECT_EQ(refused > 1000, hasBlocks());
}

TEST(Blocks, SkipUTF8) {
  std::mt19937 random(5);
  const std::string_view pieces[] = {"a", "\u00E9", "\u6F22", "\U0001F642", "zzzzzzzz"};
  std::size_t refused = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (std::size_t n = random() % 40; n > 0; --n) text += pieces[random() % std::size(pieces)];
    if (round % 2 == 0 && !text.empty()) {
      text[random() % text.size()] = static_cast<char>(random() % 256);
    }
    std::string_view rest = text;
    if (!skipUTF8Blocks(rest)) {
      ++refused;
      ASSERT_FALSE(testing::slowlyIsUTF8(text));
      continue;
    }
    ASSERT_TRUE(text.ends_with(rest));
    ASSERT_EQ(testing::slowlyIsUTF8(rest), testing::slowlyIsUTF8(text));
    ASSERT_TRUE(!hasBlocks() || rest.size() < 20) << rest.size();
  }
  EXPECT_EQ(refused > 1000, hasBlocks());
}

}  // namespace
}  // namespace korvane
