#include "formats/links/WordLinks.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace korvane::links {
namespace {

struct Row {
  LinkForm form;
  std::vector<std::string_view> good;
  std::vector<std::string_view> bad;
};

TEST(WordLinks, Forms) {
  using enum LinkForm;
  const std::vector<Row> rows = {
      {address,
       {"alice@a.example", "alice:word@a.example:5060;transport=tcp?subject=x", "a.example/x",
        "a.example", "+15105550101;user=phone", "j@bücher.example/home",
        "https://a.example/feed.xml", "alice@a.example/room@b.example"},
       {"", "alice", "@a.example", "alice@", "alice@b@c", "alice@[::1]", "+", "+x", "a.", ".a",
        "http:/a", "/a.b", "javascript:x", "a.?b"}},
      {messageId, {"2020@a.example", "2020@a.example/part@b"}, {"", "2020", "@a", "2020@", "<2@a"}},
      {number, {"+39-02-1234", "112", "(02)1234", "+(39)2", "*100#"}, {"", "+", "abc", "-1", "?x"}},
      {numbers, {"+15105550101?body=hello", "112,113", "?body=x"}, {"", "?", "?body", "x"}},
      {coordinates,
       {"37.78,-122.39", "-1,2", "1,2,3;u=35", "0,0?z=1&q=Paris"},
       {"", "1", "1,", ",1", "a,b", "1,2,", "1.,2", "+,-"}},
      {group, {"comp.lang.misc", "2020@a.example", "alt.*"}, {"", "x", ".x", "*"}},
      {query, {"?xt=urn:btih:c12f"}, {"", "?", "?xt", "xt=1"}},
      {typed, {"u/alice:a.example", "roomid/x:y"}, {"", "u", "u/", "/u", "1/x", "u:/x"}},
      {token,
       {"175tWpb8K1S7NmH4Zx6rewF9WQrcZv245W", "175tWpb8K1S7NmH4Zx6rewF9WQrcZv245W?amount=20.3"},
       {"", "short", "175tWpb8K1S7NmH4Zx6.ewF9WQrcZv245W"}},
      {name, {"echo123?call", "+1234", "a.b"}, {"", "ab", "?call"}},
      {web, {}, {"//a.example", "a.example"}},
      {hierarchy, {}, {"//a", "a"}},
      {mail, {}, {"a@b.example"}},
      {none, {}, {"a", "//a"}},
  };
  for (const Row& row : rows) {
    for (const std::string_view rest : row.good) EXPECT_TRUE(hasForm(row.form, rest)) << rest;
    for (const std::string_view rest : row.bad) EXPECT_FALSE(hasForm(row.form, rest)) << rest;
  }
}

}  // namespace
}  // namespace korvane::links
