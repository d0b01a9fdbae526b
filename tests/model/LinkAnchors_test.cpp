#include "model/detail/LinkAnchors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace korvane {
namespace {

using Links = std::vector<std::string>;
constexpr std::size_t kNoLimit = std::size_t{1} << 24;

std::string anchor(const std::string& link) { return "<a href='" + link + "'>" + link + "</a>"; }

/// The chain of replacements written down as simply as it can be.
AnchoredText slowly(std::string text, const Links& links, std::size_t limit) {
  for (const std::string& link : links) {
    std::string next;
    for (std::size_t at = 0; at < text.size();) {
      const bool here = text.compare(at, link.size(), link) == 0;
      next += here ? anchor(link) : std::string(1, text[at]);
      at += here ? link.size() : 1;
    }
    if (next.size() > limit) return {text, false};
    text = next;
  }
  return {text, true};
}

TEST(LinkAnchors, EveryLinkWhereverItStands) {
  const std::string a = anchor("x:a");
  EXPECT_EQ(textWithAnchors("", {}, kNoLimit).text, "");
  EXPECT_EQ(textWithAnchors("x:a", {}, kNoLimit).text, "x:a");
  EXPECT_EQ(textWithAnchors("x:a, x:a", {"x:a"}, kNoLimit).text, a + ", " + a);
  EXPECT_EQ(textWithAnchors("x:b", {"x:a"}, kNoLimit).text, "x:b");
  // Once more in its own anchor.
  const std::string twice = "<a href='" + a + "'>" + a + "</a>";
  EXPECT_EQ(textWithAnchors("x:a", {"x:a", "x:a"}, kNoLimit).text, twice);
  // A shorter one in a longer one, and the other way round.
  EXPECT_EQ(textWithAnchors("x:ab", {"x:ab", "x:a"}, kNoLimit).text,
            "<a href='" + a + "b'>" + a + "b</a>");
  EXPECT_EQ(textWithAnchors("x:ab", {"x:a", "x:ab"}, kNoLimit).text, a + "b");
  // Overlaps: the left one wins within a link, the earlier one between links.
  EXPECT_EQ(textWithAnchors("::::", {":::"}, kNoLimit).text, anchor(":::") + ":");
  EXPECT_EQ(textWithAnchors("x:ay:b", {"ay:b", "x:a"}, kNoLimit).text, "x:" + anchor("ay:b"));
}

TEST(LinkAnchors, LinksAcrossAnAnchorsEdge) {
  for (const Links& links : std::vector<Links>{{"x:a", "x:a'"},
                                               {"x:a'", "x:a"},
                                               {"x:a", "='x"},
                                               {"x:a", "a href"},
                                               {"x:a", "'"},
                                               {"x:a", "/a"},
                                               {"x:a", "<"},
                                               {"x:a", "a<", "x:a"},
                                               {"x:a", ">x"}}) {
    const std::string text = "x:a x:a'";
    EXPECT_EQ(textWithAnchors(text, links, kNoLimit).text, slowly(text, links, kNoLimit).text)
        << links[0] << " " << links[1];
  }
}

TEST(LinkAnchors, AgreeWithTheSimpleChain) {
  std::mt19937 random(1);
  const std::vector<std::string> pieces = {"x:", "a", "b", "ab", "'", "=", "<", ">", "/a", "f='"};
  const auto piecesOf = [&](unsigned count, unsigned kinds) {
    std::string text;
    for (; count > 0; --count) text += pieces[random() % kinds];
    return text;
  };
  int incomplete = 0;
  for (int round = 0; round < 20'000; ++round) {
    // Every second round without the anchors' own characters, which take another way.
    const unsigned kinds = round % 2 == 0 ? 4 : 10;
    const std::string text = piecesOf(random() % 12, kinds);
    Links links;
    for (unsigned i = random() % 6; i > 0; --i) links.push_back(piecesOf(1 + random() % 3, kinds));
    const std::size_t limit = text.size() + random() % 2000;
    const AnchoredText want = slowly(text, links, limit);
    const AnchoredText got = textWithAnchors(text, links, limit);
    EXPECT_EQ(got.text, want.text) << text;
    EXPECT_EQ(got.complete, want.complete) << text;
    incomplete += want.complete ? 0 : 1;
  }
  EXPECT_GT(incomplete, 100);
}

TEST(LinkAnchors, TheLimitIsTheResultsLength) {
  const std::size_t once = anchor("x:a").size();
  EXPECT_EQ(textWithAnchors("x:a", {"x:a"}, once).text, anchor("x:a"));
  const AnchoredText left = textWithAnchors("x:a", {"x:a"}, once - 1);
  EXPECT_EQ(left.text, "x:a");
  EXPECT_FALSE(left.complete);
  EXPECT_FALSE(textWithAnchors("x:a", {}, 2).complete);
  EXPECT_EQ(textWithAnchors("'", {"'"}, 16).text, "'");
  EXPECT_EQ(textWithAnchors("'", {"'"}, 17).text, anchor("'"));
}

TEST(LinkAnchors, ManyDifferentLinks) {
  std::string text;
  std::string want;
  Links links;
  for (int i = 100'000; i < 200'000; ++i) {
    links.push_back("http://a.example/" + std::to_string(i));
    text += links.back() + "\n";
    want += anchor(links.back()) + "\n";
  }
  const AnchoredText got = textWithAnchors(text, links, kNoLimit);
  EXPECT_TRUE(got.complete);
  EXPECT_EQ(got.text, want);
}

TEST(LinkAnchors, OneLinkTooOften) {
  const Links links(40, "x:a");
  const AnchoredText got = textWithAnchors("x:a", links, 1 << 20);
  EXPECT_FALSE(got.complete);
  EXPECT_EQ(got.text, slowly("x:a", links, 1 << 20).text);
  // Its places may also be taken by another one, as often as the list holds it.
  Links taken(100'000, "x:abc");
  taken.insert(taken.begin(), "bc");
  std::string text;
  for (int i = 0; i < 100'000; ++i) text += "x:abc ";
  EXPECT_TRUE(textWithAnchors(text, taken, kNoLimit).complete);
}

TEST(LinkAnchors, TooManyAcrossEdgesStayPlain) {
  std::string text;
  Links links;
  for (int i = 1000; i < 1065; ++i) {
    const std::string link = "x:" + std::to_string(i);
    text += link + " " + link + "' ";
    links.insert(links.end(), {link, link + "'"});
  }
  const AnchoredText got = textWithAnchors(text, links, kNoLimit);
  EXPECT_FALSE(got.complete);
  links.pop_back();
  EXPECT_EQ(got.text, slowly(text, links, kNoLimit).text);
}

TEST(LinkAnchors, LinksThatAllOverlapStayPlain) {
  const std::string text(30'000, ':');
  Links links;
  for (std::size_t length = 17; length > 0; --length) links.emplace_back(length, ':');
  const AnchoredText got = textWithAnchors(text, links, kNoLimit);
  EXPECT_FALSE(got.complete);
  EXPECT_EQ(got.text, text);
}

}  // namespace
}  // namespace korvane
