#include "platform/NSURL.h"

#include <gtest/gtest.h>

#include <random>

#include "support/JsonLines.h"
#include "support/SlowURL.h"

namespace korvane {
namespace {

using testing::partsOf;
using testing::readJsonLines;
using testing::slowParts;
using testing::slowResolved;

TEST(NSURLTables, Parse) {
  const auto rows = readJsonLines("urls.jsonl");
  ASSERT_EQ(rows.size(), 700U);
  for (const Value& row : rows) {
    const Value text = row.objectForKey("url");
    const auto url = NSURL::URLWithString(text.text());
    const Value got = url ? partsOf(*url) : Value();
    const Value want = row.objectForKey("want");
    EXPECT_EQ(got, want) << text.text() << "\ngot  " << got.description() << "\nwant "
                         << want.description();
  }
}

TEST(NSURLTables, Resolve) {
  const auto rows = readJsonLines("relative-urls.jsonl");
  ASSERT_EQ(rows.size(), 110U);
  for (const Value& row : rows) {
    const Value text = row.objectForKey("url");
    const Value baseText = row.objectForKey("base");
    const auto base = NSURL::URLWithString(baseText.text());
    ASSERT_TRUE(base) << baseText.text();
    const auto url = NSURL::URLWithString(text.text(), *base);
    const Value got = url ? Value(url->absoluteString()) : Value();
    EXPECT_EQ(got, row.objectForKey("want"))
        << text.text() << " against " << baseText.text() << " gives " << got.description();
    EXPECT_EQ(slowResolved(text.text(), base->absoluteString()), row.objectForKey("want"))
        << text.text() << " against " << baseText.text();
  }
}

NSURL url(std::string_view text) { return NSURL::URLWithString(text).value(); }

TEST(NSURLOracle, AgreesWithTheSlowWay) {
  const auto rows = readJsonLines("urls.jsonl");
  for (const Value& row : rows) {
    const Value text = row.objectForKey("url");
    ASSERT_EQ(slowParts(text.text()), row.objectForKey("want")) << text.text();
  }
  const std::string_view pieces[] = {
      "x", ":",   "/",      "//", "?",    "#",    "@",  "[",  "]",   ";",   "%41",
      "%", "%C3", ".",      "..", "http", "://",  "80", "é",  " ",   "%2F", "a",
      "h", "/a/", "%C3%A9", "1",  "+",    "\x7F", "x:", "&=", "../", "./",  "%EF%BB%BF"};
  std::mt19937 random(21);
  std::size_t good = 0;
  NSURL base = url("http://h/a");
  for (int round = 0; round < 100'000; ++round) {
    std::string text;
    for (std::size_t n = random() % 12; n > 0; --n) {
      // Seldom what makes it no URL at all.
      const auto piece = pieces[random() % std::size(pieces)];
      const bool bad = piece == "%" || piece == "é" || piece == " " || piece == "\x7F";
      if (!bad || random() % 8 == 0) text += piece;
    }
    const auto parsed = NSURL::URLWithString(text);
    const Value got = parsed ? partsOf(*parsed) : Value();
    const Value want = slowParts(text);
    ASSERT_EQ(got, want) << text << "\ngot  " << got.description() << "\nwant "
                         << want.description();
    if (parsed) {
      ++good;
      // What comes out is a URL that stays as it is, with the same parts.
      const auto again = NSURL::URLWithString(parsed->absoluteString());
      ASSERT_TRUE(again) << text;
      ASSERT_EQ(partsOf(*again), got) << text;
    }
    const auto resolved = NSURL::URLWithString(text, base);
    const Value whole = resolved ? Value(resolved->absoluteString()) : Value();
    ASSERT_EQ(whole, slowResolved(text, base.absoluteString()))
        << text << " against " << base.absoluteString();
    if (parsed) base = *parsed;
  }
  EXPECT_GT(good, 30'000U);
}

TEST(NSURL, PartsThatTheTablesLeaveOut) {
  const std::pair<const char*, Dictionary> rows[] = {
      {"", {}},
      {"x:", {{"scheme", "x"}}},
      {":", {{"scheme", ""}}},
      {":x", {{"scheme", ""}}},
      {":/x", {{"scheme", ""}, {"path", "/x"}}},
      {"://h/a", {{"scheme", ""}, {"host", "h"}, {"path", "/a"}}},
      {"1x:y", {{"path", "1x:y"}}},
      {"//", {}},
      {"//?q", {{"query", "q"}}},
      {"//#f", {{"fragment", "f"}}},
      {"x://", {{"scheme", "x"}}},
      {"x:///", {{"scheme", "x"}, {"path", "/"}}},
      {"mailto://??a=1", {{"scheme", "mailto"}, {"query", "?a=1"}}},
      {"//;p", {{"host", ";p"}, {"path", ""}}},
      {"///;p", {{"path", "/"}, {"parameterString", "p"}}},
      {"x://h/%FF", {{"scheme", "x"}, {"host", "h"}}},  // the path is not a text
      {"x://%FF/", {{"scheme", "x"}, {"path", "/"}}},
      {"x://%FF@h", {{"scheme", "x"}, {"host", "h"}, {"path", ""}}},
      {"x://h:99999999999999999999",
       {{"scheme", "x"},
        {"host", "h"},
        {"port", std::numeric_limits<std::int64_t>::max()},
        {"path", ""}}},
      {"x://h:-1", {{"scheme", "x"}, {"host", "h"}, {"path", ""}}},
      // One "/" goes from the end, and one more from the end of what had escapes.
      {"x://h/a//", {{"scheme", "x"}, {"host", "h"}, {"path", "/a/"}}},
      {"x://h/a///", {{"scheme", "x"}, {"host", "h"}, {"path", "/a//"}}},
      {"x://h/a///;p",
       {{"scheme", "x"}, {"host", "h"}, {"path", "/a//"}, {"parameterString", "p"}}},
      {"x://h//", {{"scheme", "x"}, {"host", "h"}, {"path", "/"}}},
      {"x://h///", {{"scheme", "x"}, {"host", "h"}, {"path", "//"}}},
      {"x://h/%C3%A9//", {{"scheme", "x"}, {"host", "h"}, {"path", "/é"}}},
      {"x://h/%C3%A9///", {{"scheme", "x"}, {"host", "h"}, {"path", "/é/"}}},
      {"x://h/a%2F", {{"scheme", "x"}, {"host", "h"}, {"path", "/a"}}},
      {"x://h/a%2F%2F", {{"scheme", "x"}, {"host", "h"}, {"path", "/a/"}}},
      {"x://h/a%2F/", {{"scheme", "x"}, {"host", "h"}, {"path", "/a"}}},
      {"x://h/%2F", {{"scheme", "x"}, {"host", "h"}, {"path", "/"}}},
      {"x://h/%41/;%2F",
       {{"scheme", "x"}, {"host", "h"}, {"path", "/A"}, {"parameterString", "%2F"}}},
      {"%2F", {{"path", "/"}}},
      {"%2F/", {{"path", "/"}}},
      {"a/", {{"path", "a"}}},
      // Decoding drops a mark at the very beginning.
      {"x://%EF%BB%BFh/%EF%BB%BF", {{"scheme", "x"}, {"host", "h"}, {"path", "/\uFEFF"}}},
      {"%EF%BB%BF%EF%BB%BFa", {{"path", "\uFEFFa"}}},
  };
  for (const auto& [text, want] : rows) {
    Dictionary all = want;
    all.set("absoluteString", text);
    EXPECT_EQ(partsOf(url(text)), Value(all)) << text << partsOf(url(text)).description();
  }
}

TEST(NSURL, ASecondHashIsNowhereLegal) {
  for (const char* text : {"x://h/a#b#c", "##", "mailto:a#b#c", "x:##", ":a##", "x:[#]#"}) {
    EXPECT_EQ(NSURL::URLWithString(text), std::nullopt) << text;
    EXPECT_EQ(NSURL::URLWithString(text, url("x://h")), std::nullopt) << text;
  }
  EXPECT_EQ(url("mailto:a#b").absoluteString(), "mailto:a%23b");
}

TEST(NSURL, ResolvingWhatTheTableLeavesOut) {
  const struct {
    const char* text;
    const char* base;
    std::optional<std::string> result;
  } rows[] = {
      // The empty text gives the whole base.
      {"", "x://h/a?b#c", "x://h/a?b#c"},
      {"", "mailto:a", "mailto:a"},
      {"", "x:/a#", "x:/a#"},
      {"#f", "x://h/a?b#c", "x://h/a?b#f"},
      {"#", "x://h/a?b#c", "x://h/a?b#"},
      {"?q", "x://h", "x://h?q"},
      {"?q", "x://h/a;p?b#c", "x://h/a;p?q"},
      {"?", "x://h/a?b", "x://h/a?"},
      // A base without parts is its scheme.
      {"g", "mailto:a@b", "mailto:///g"},
      {"/g", "mailto:a@b", "mailto:///g"},
      {"?q", "mailto:a", "mailto://?q"},
      {"#f", "mailto:a@b", "mailto://#f"},
      {"//h/g", "mailto:a@b", "mailto://h/g"},
      {"y:g", "mailto:a@b", "y:g"},
      {"mailto:g", "mailto:a@b", "mailto:g"},
      // There is always a "//".
      {"c", "file:/a/b", "file:///a/c"},
      {"c", "/a/b", "///a/c"},
      {"/c", "file:/a/b", "file:///c"},
      {"#f", "file:/a/b?q", "file:///a/b?q#f"},
      {"//h/c", "/a/b", "//h/c"},
      {"b", "c/d", "//c/b"},
      {"../b", "c/d", "//b"},
      {"../../b", "c/d", "//../b"},
      {"b", "c", "//b"},
      {"./x:y", "c", "//x:y"},
      {"..//h", "x:/a/b", "x:////h"},
      // The path becomes rooted where the base has none.
      {"b", "?q", "///b"},
      {"b", "", "///b"},
      {"b", "x://", "x:///b"},
      {";p", "x://h?q", "x://h/;p"},
      // Nothing between the "//" of a text.
      {"///x", "http://h/a", "http://h/x"},
      {"//", "http://h/a", "http://h/a"},
      {"//", "http://h/a?q#f", "http://h/a?q"},
      {"//?q", "http://h/a", "http://h/a?q"},
      {"////x", "http://h/a", "http://h//x"},
      // A ":" at the beginning.
      {":/x", "http://h/a", "http://h/x"},
      {"://i/x", "http://h/a", "http://i/x"},
      {":///x", "http://h/a", "http://h/x"},
      {"://", "http://h/a?q#f", "http://h/a?q"},
      {":x", "http://h/a?q#f", "http://h/a?q#f"},
      {":", "http://h/a", "http://h/a"},
      {":?q", "http://h/a", "http://h/a"},
      {"::/x", "http://h/a", "http://h/a"},
      {"x", "://h/a", "://h/x"},
      {"..", "x://h/a/b/c", "x://h/a/"},
      {".", "x://h/a/b/c", "x://h/a/b/"},
      {"../..", "x://h/a/b/c", "x://h/"},
      {"d/.", "x://h/a/b", "x://h/a/d/"},
      {"d/..", "x://h/a/b", "x://h/a/"},
      {"../../../d/../e", "x://h/a/b", "x://h/../../e"},
      {"a//../b", "x://h/", "x://h/a/b"},
      {"g[1]", "x://h/", "x://h/g%5B1%5D"},
      {"//u:p@i:9/g", "x://h/", "x://u:p@i:9/g"},
      {"g", "x://u:p@h:007?q", "x://u:p@h:007/g"},
      {"g", "//h/a", "//h/g"},
      {"a#b#c", "//h/a", std::nullopt},
  };
  for (const auto& row : rows) {
    const auto got = NSURL::URLWithString(row.text, url(row.base));
    EXPECT_EQ(got ? std::optional(got->absoluteString()) : std::nullopt, row.result)
        << row.text << " against " << row.base;
  }
}

TEST(NSURL, Equality) {
  EXPECT_EQ(url("x://h/a"), url("x://h/a"));
  EXPECT_FALSE(url("x://h/a") == url("x://h/a/"));
  EXPECT_FALSE(url("x://h/a") == url("X://h/a"));
}

TEST(NSURL, LongTexts) {
  const std::string escapes = [] {
    std::string text;
    for (int i = 0; i < 3'000'000; ++i) text += "%41/";
    return text;
  }();
  const NSURL parsed = url("x://h/" + escapes + "?" + escapes + "#" + escapes);
  EXPECT_EQ(parsed.path()->size(), 6'000'000U);
  EXPECT_EQ(parsed.query(), escapes);

  std::string up;
  for (int i = 0; i < 1'000'000; ++i) up += i % 2 == 0 ? "a/" : "../";
  EXPECT_EQ(NSURL::URLWithString(up + "g", url("x://h/b"))->absoluteString(), "x://h/g");
  std::string ups;
  for (int i = 0; i < 1'000'000; ++i) ups += "../";
  EXPECT_EQ(NSURL::URLWithString(ups + "g", url("x://h/b"))->absoluteString().size(), 3'000'007U);
  std::string brackets(1'000'000, '[');
  EXPECT_EQ(url(brackets).absoluteString().size(), 3'000'000U);
  EXPECT_EQ(NSURL::URLWithString("x://h/" + escapes + "%"), std::nullopt);
}

}  // namespace
}  // namespace korvane
