#include "formats/links/LinkCharacters.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace korvane::links {
namespace {

TEST(LinkCharacters, ForwardsAndBackwards) {
  const std::string_view text = "aé漢😀";
  std::size_t at = 0;
  for (const char32_t want : U"aé漢😀") {
    if (want == 0) break;
    const Character here = characterAt(text, at);
    EXPECT_EQ(here.scalar, want);
    at += here.length;
    const Character before = characterBefore(text, at);
    EXPECT_EQ(before.scalar, want);
    EXPECT_EQ(before.length, here.length);
  }
  EXPECT_EQ(at, text.size());
}

TEST(LinkCharacters, BytesThatBelongToNone) {
  for (const std::string_view text :
       {"\x80", "\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF5\x80", "\xFF"}) {
    EXPECT_EQ(characterAt(text, 0).scalar, Character::invalid);
    EXPECT_EQ(characterAt(text, 0).length, 1u);
    EXPECT_EQ(characterBefore(text, text.size()).scalar, Character::invalid);
    EXPECT_EQ(characterBefore(text, text.size()).length, 1u);
  }
  EXPECT_FALSE(isHostCharacter(Character::invalid));
  EXPECT_FALSE(isLinkCharacter(Character::invalid));
  EXPECT_FALSE(isWrittenWithoutSpaces(Character::invalid));
}

TEST(LinkCharacters, Classes) {
  for (const char32_t c : std::u32string(U"azAZ09éßпя漢あ한ไ٣\u0301")) {
    EXPECT_TRUE(isHostCharacter(c)) << static_cast<unsigned>(c);
    EXPECT_TRUE(isLinkCharacter(c)) << static_cast<unsigned>(c);
  }
  for (const char32_t c : std::u32string(U"-._~:/?#[]@!$&'()*+,;=%{|}^–·☃😀€")) {
    EXPECT_FALSE(isHostCharacter(c)) << static_cast<unsigned>(c);
    EXPECT_TRUE(isLinkCharacter(c)) << static_cast<unsigned>(c);
  }
  for (const char32_t c :
       std::u32string(U" \"<>\\`\t\x7f\u00a0。、「」（）！…“”’«»\u200b\u202e\u3164\ufe0f\ufffd")) {
    EXPECT_FALSE(isHostCharacter(c)) << static_cast<unsigned>(c);
    EXPECT_FALSE(isLinkCharacter(c)) << static_cast<unsigned>(c);
  }
  for (const char32_t c : std::u32string(U"漢あア한ไ")) EXPECT_TRUE(isWrittenWithoutSpaces(c));
  for (const char32_t c : std::u32string(U"aéпא。😀")) EXPECT_FALSE(isWrittenWithoutSpaces(c));
}

TEST(LinkCharacters, LowercaseOfASCII) { EXPECT_EQ(lowercase("AbZ\xC3\x89-1"), "abz\xC3\x89-1"); }

TEST(LinkCharacters, AsAURLHoldsThem) {
  const auto encoded = [](std::string_view characters) {
    std::string url = "x:";
    appendEncoded(url, characters);
    return url;
  };
  EXPECT_EQ(encoded(""), "x:");
  EXPECT_EQ(encoded("/a?b=c&d#e"), "x:/a?b=c&d#e");
  EXPECT_EQ(encoded("%20%2g%"), "x:%20%252g%25");
  EXPECT_EQ(encoded("#a#b#"), "x:#a%23b%23");
  EXPECT_EQ(encoded("{é}"), "x:%7B%C3%A9%7D");
}

}  // namespace
}  // namespace korvane::links
