#include "platform/linux/LinkCharacters.h"

#include <gtest/gtest.h>

#include <optional>
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
  for (const char32_t c : std::u32string(U"-._~:/?#[]@!$&'()*+,;=%{}–·☃😀€")) {
    EXPECT_FALSE(isHostCharacter(c)) << static_cast<unsigned>(c);
    EXPECT_TRUE(isLinkCharacter(c)) << static_cast<unsigned>(c);
  }
  for (const char32_t c : std::u32string(
           U" \"<>\\^`|\t\x7f\u00a0。、「」（）！…“”’«»\u200b\u202e\u3164\ufe0f\ufffd")) {
    EXPECT_FALSE(isHostCharacter(c)) << static_cast<unsigned>(c);
    EXPECT_FALSE(isLinkCharacter(c)) << static_cast<unsigned>(c);
  }
  for (const char32_t c : std::u32string(U"漢あア한ไ")) EXPECT_TRUE(isWrittenWithoutSpaces(c));
  for (const char32_t c : std::u32string(U"aéпא。😀")) EXPECT_FALSE(isWrittenWithoutSpaces(c));
}

TEST(LinkCharacters, Hosts) {
  EXPECT_EQ(asciiHost("a.example"), "a.example");
  EXPECT_EQ(asciiHost("A_b.Example"), "A_b.Example");
  EXPECT_EQ(asciiHost("Bücher.example"), "xn--bcher-kva.example");
  EXPECT_EQ(asciiHost("faß.de"), "xn--fa-hia.de");
  const std::string label(63, 'a');
  const std::string longest = label + "." + label + "." + label + "." + std::string(61, 'a');
  EXPECT_EQ(longest.size(), 253u);
  EXPECT_EQ(asciiHost(longest), longest);
  for (const std::string& host :
       {std::string(), std::string("."), std::string("a."), std::string(".a"), std::string("a..b"),
        std::string("-a.b"), std::string("a-.b"), label + "a", longest + "a",
        std::string("\u0301a.example"), std::string(2000, 'a') + "é"}) {
    EXPECT_EQ(asciiHost(host), std::nullopt) << host;
  }
}

TEST(LinkCharacters, Endings) {
  for (const std::string_view label : {"com", "COM", "uk", "рф", "xn--p1ai", "museum", "md"}) {
    EXPECT_TRUE(isTopLevelDomain(label)) << label;
  }
  for (const std::string_view label : {"", "example", "txt", "co.uk", "3", "-", "local", "é"}) {
    EXPECT_FALSE(isTopLevelDomain(label)) << label;
  }
  EXPECT_TRUE(isFileEnding("MD"));
  EXPECT_FALSE(isFileEnding("com"));
  EXPECT_EQ(lowercase("AbZ\xC3\x89-1"), "abz\xC3\x89-1");
}

}  // namespace
}  // namespace korvane::links
