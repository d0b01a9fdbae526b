#include "formats/links/LinkTail.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace korvane::links {
namespace {

/// The tail at the "/" of a text such as "(x/y)", whose link begins at the "x".
std::string tail(std::string_view text) {
  const std::size_t from = text.find('/');
  LinkTail reader(text);
  return std::string(text.substr(from, reader.end(from, text.find('x')) - from));
}

TEST(LinkTail, Ends) {
  EXPECT_EQ(tail("x/"), "/");
  EXPECT_EQ(tail("x/a b"), "/a");
  EXPECT_EQ(tail("x/a.,;:!?"), "/a");
  EXPECT_EQ(tail("x/..."), "/");
  EXPECT_EQ(tail("x/a<b"), "/a");
  EXPECT_EQ(tail("x/(a)b"), "/(a)b");
  EXPECT_EQ(tail("x/(a"), "/");
  EXPECT_EQ(tail("x/a)b"), "/a");
  EXPECT_EQ(tail("x/((a)b"), "/");
  EXPECT_EQ(tail("x/(a[b)c]"), "/(a[b)c]");  // each kind of bracket for itself
  EXPECT_EQ(tail("x/[/a"), "/");
  EXPECT_EQ(tail("x/a'"), "/a");
  EXPECT_EQ(tail("x/'a'"), "/'a'");
  EXPECT_EQ(tail("'x/a'b"), "/a");
  EXPECT_EQ(tail("'x/(a'b)"), "/");
  EXPECT_EQ(tail("*x/a*"), "/a");
  EXPECT_EQ(tail("x/a*"), "/a*");
}

TEST(LinkTail, ManyTailsOfOneRun) {
  // Every "x" begins a link that ends at the bracket behind it; none of them is closed.
  std::string text;
  for (int i = 0; i < 10'000; ++i) text += "x/(";
  LinkTail reader(text);
  for (std::size_t at = 0; at < text.size(); at += 3) {
    ASSERT_EQ(reader.end(at + 1, at), at + 2);
  }
  EXPECT_LE(reader.steps(), 4 * text.size());
}

TEST(LinkTail, ABracketThatAnEarlierLinkOpened) {
  const std::string_view text = "x/(y/a)b";
  LinkTail reader(text);
  EXPECT_EQ(reader.end(1, 0), 8u);
  EXPECT_EQ(reader.end(4, 3), 6u);  // what opened the bracket is not in this tail
}

}  // namespace
}  // namespace korvane::links
