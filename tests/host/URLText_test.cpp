#include "host/URLText.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

std::optional<std::string> repaired(std::string_view text) {
  const auto url = urlFromText(text);
  if (!url) return std::nullopt;
  return url->absoluteString();
}

TEST(URLText, FindsTheScheme) {
  EXPECT_EQ(schemeOf("https://a.example"), "https");
  EXPECT_EQ(schemeOf("mailto:a@b.example"), "mailto");
  EXPECT_EQ(schemeOf("x-a+b.1:"), "x-a+b.1");
  EXPECT_EQ(schemeOf("HTTP://a"), "HTTP");
  for (const char* text :
       {"", ":", "a", "C:\\x", "c:/x", "/a:b", "1a:b", "a b:c", "./a:b", "ä:b", "a_b:c", "-a:b"}) {
    EXPECT_EQ(schemeOf(text), "") << text;
  }
  EXPECT_TRUE(schemeIs("FiLe:///x", "file"));
  EXPECT_FALSE(schemeIs("files:///x", "file"));
  EXPECT_FALSE(schemeIs("/file:", "file"));
}

TEST(URLText, LegalURLsStayAsTheyAre) {
  for (const char* text :
       {"https://a.example/", "HTTP://A.example/B?c=%20#d", "mailto:a@b.example?subject=x",
        "https://u:p@a.example:8080/x;y?z", "tel:+49123", "data:,x", "www.a.example",
        "https://xn--mnchen-3ya.example/", "http://[::1]/", "https://a.example/%e4", "x:"}) {
    EXPECT_EQ(repaired(text), text);
  }
}

TEST(URLText, RepairsWhatPeopleCopy) {
  struct Case {
    const char* text;
    const char* url;
  };
  const std::array cases{
      Case{" https://a.example/x\n", "https://a.example/x"},
      Case{"https://a.example/a b", "https://a.example/a%20b"},
      Case{"https://a.example/München?q=ü#ö", "https://a.example/M%C3%BCnchen?q=%C3%BC#%C3%B6"},
      Case{"https://münchen.example/x", "https://xn--mnchen-3ya.example/x"},
      Case{"https://u@MÜNCHEN.example:81/", "https://u@xn--mnchen-3ya.example:81/"},
      Case{"https://faß.example", "https://xn--fa-hia.example"},
      Case{"https://例え.テスト", "https://xn--r8jz45g.xn--zckzah"},
      Case{"https://例え。テスト/", "https://xn--r8jz45g.xn--zckzah/"},
      Case{"https://a.example/100%", "https://a.example/100%25"},
      Case{"https://a.example/100%x%41", "https://a.example/100%25x%41"},
      Case{"https://a.example/%4", "https://a.example/%254"},
      Case{"https://a.example/#a#b#c", "https://a.example/#a%23b%23c"},
      Case{"https://a.example/\"<x>\\^`{|}", "https://a.example/%22%3Cx%3E%5C%5E%60%7B%7C%7D"},
      Case{"https://a.example/a\tb\x01", "https://a.example/a%09b%01"},
      Case{"https://a.example/\xE4", "https://a.example/%E4"},
      Case{"mailto:jürgen@a.example", "mailto:j%C3%BCrgen@a.example"},
      Case{"https://a.example/?q=\xC3\xA4[1]", "https://a.example/?q=%C3%A4%5B1%5D"},
  };
  for (const Case& c : cases) EXPECT_EQ(repaired(c.text), c.url) << c.text;
}

TEST(URLText, ABlankTextIsNoURL) {
  for (const char* text : {"", " ", "\n\t", "\xC2\xA0"}) EXPECT_EQ(repaired(text), std::nullopt);
}

TEST(URLText, NothingOfALinkIsLost) {
  // Repaired or not at all: every letter of the text is in the URL.
  for (const char* text : {"https://[bad host/x y", "https://a b.example/", "https://a:port/ x",
                           "javascript:alert('x y')", "https://ü^.example/"}) {
    const auto url = repaired(text);
    ASSERT_TRUE(url) << text;
    for (const char* c = text; *c; ++c) {
      if (*c < 'a' || *c > 'z') continue;
      EXPECT_NE(url->find(*c), std::string::npos) << text << ' ' << *url;
    }
  }
}

TEST(URLText, IsQuickForLongTexts) {
  const std::string text = "https://a.example/" + std::string(5'000'000, ' ') + "x";
  EXPECT_EQ(repaired(text)->size(), 18U + 15'000'000U + 1U);
}

class FileURL : public ::testing::Test {
 protected:
  testing::TemporaryFolder folder;
};

TEST_F(FileURL, GivesThePath) {
  EXPECT_EQ(pathOfFileURL("file:///tmp/a%20b"), "/tmp/a b");
  EXPECT_EQ(pathOfFileURL("FILE:///tmp/x"), "/tmp/x");
  EXPECT_EQ(pathOfFileURL("file:/tmp/x"), "/tmp/x");
  EXPECT_EQ(pathOfFileURL("file://localhost/tmp/x"), "/tmp/x");
  EXPECT_EQ(pathOfFileURL("file://LocalHost/tmp/x"), "/tmp/x");
  EXPECT_EQ(pathOfFileURL("file://127.0.0.1/x"), "/x");
  EXPECT_EQ(pathOfFileURL("file:///%FF%fe/%C3%A4"), "/\xFF\xFE/\xC3\xA4");
  EXPECT_EQ(pathOfFileURL("file:///a;b,c=d&e"), "/a;b,c=d&e");
  EXPECT_EQ(pathOfFileURL("file:///a?x#y"), "/a");
  EXPECT_EQ(pathOfFileURL("file:///a/"), "/a/");
  EXPECT_EQ(pathOfFileURL("file:///"), "/");
  EXPECT_EQ(pathOfFileURL("file:///a b/ä"), "/a b/ä");
  std::array<char, 256> host{};
  ASSERT_EQ(gethostname(host.data(), host.size() - 1), 0);
  EXPECT_EQ(pathOfFileURL("file://" + std::string(host.data()) + "/x"), "/x");
}

TEST_F(FileURL, GivesNothingForWhatIsNotHere) {
  EXPECT_EQ(pathOfFileURL("file://other.example/etc/passwd"), std::nullopt);
  EXPECT_EQ(pathOfFileURL("file://../etc/passwd"), std::nullopt);
  EXPECT_EQ(pathOfFileURL("file:relative"), std::nullopt);
  EXPECT_EQ(pathOfFileURL("file://"), std::nullopt);
  EXPECT_EQ(pathOfFileURL("file:"), std::nullopt);
  EXPECT_EQ(pathOfFileURL("file:///etc/passwd%00.txt"), std::nullopt);
}

TEST_F(FileURL, UnderstandsWhatWasNeverEscaped) {
  for (const char* name :
       {"a#b.txt", "a?b.txt", "100% sure.txt", "a%20b.txt", "a#b?c#d", "50%41"}) {
    const std::string path = folder.file(name);
    EXPECT_EQ(pathOfFileURL("file://" + path), path);
  }
  // The proper reading goes first.
  folder.file("c#d");
  const std::string proper = folder.file("c");
  EXPECT_EQ(pathOfFileURL("file://" + proper + "#d"), proper);
  EXPECT_EQ(pathOfFileURL("file://" + folder.path("none#x")), folder.path("none"));
}

}  // namespace
}  // namespace korvane
