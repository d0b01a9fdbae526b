#include <gtest/gtest.h>

#include "platform/NSException.h"
#include "support/JsonLines.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

using Text = std::optional<std::string>;

NSURL url(std::string_view text) { return NSURL::URLWithString(text).value(); }
Text text(const std::optional<NSURL>& value) {
  return value ? Text(value->absoluteString()) : Text();
}

TEST(URLComponents, Names) {
  EXPECT_STREQ(URLSchemeComponent, "scheme");
  EXPECT_STREQ(URLHostComponent, "host");
  EXPECT_STREQ(URLPortComponent, "port");
  EXPECT_STREQ(URLUserComponent, "user");
  EXPECT_STREQ(URLPasswordComponent, "password");
  EXPECT_STREQ(URLPathComponent, "path");
  EXPECT_STREQ(URLParameterStringComponent, "parameterString");
  EXPECT_STREQ(URLQueryComponent, "query");
  EXPECT_STREQ(URLFragmentComponent, "fragment");
}

TEST(URLWithComponents, EdgeCases) {
  const struct {
    Dictionary components;
    Text result;
  } rows[] = {
      {{}, ""},
      {{{"scheme", "x"},
        {"host", "h"},
        {"path", "/p"},
        {"query", Dictionary{{"a", "1"}}},
        {"fragment", "f"}},
       "x://h/p?a=1#f"},
      {{{"scheme", "x"}, {"host", "h"}, {"path", "/p"}, {"user", "u"}, {"password", "w"}},
       "x://u:w@h/p"},
      {{{"scheme", "x"}, {"host", "h"}, {"user", "u"}}, "x://u@h"},
      {{{"scheme", "x"}, {"host", "h"}, {"password", "w"}}, "x://h"},  // no user, no password
      {{{"scheme", "x"}, {"host", "h"}, {"port", 8080}}, "x://h:8080"},
      {{{"scheme", "x"}, {"host", "h"}, {"port", "80"}}, "x://h:80"},
      {{{"scheme", "x"}, {"host", "h"}, {"path", "p"}}, "x://hp"},  // no "/" is added
      {{{"path", "/p"}, {"parameterString", "a;b"}, {"query", "q"}}, "/p;a;b?q"},
      {{{"query", ""}, {"fragment", ""}}, "?#"},
      {{{"query", Dictionary()}}, "?"},
      {{{"query", Dictionary{{"a b", List{"1", "2"}}}}}, "?a%20b=1&a%20b=2"},
      {{{"scheme", "file"}, {"path", "/tmp"}}, "file:///tmp"},
      {{{"host", "h"}, {"path", "/p"}}, "h/p"},
      {{{"path", "/a b"}}, std::nullopt},
      {{{"fragment", "a#b"}}, std::nullopt},
      {{{"scheme", Value()}, {"path", "/p"}, {"nonsense", 1}}, "/p"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(text(URLWithComponents(row.components)), row.result) << row.result.value_or("");
  }
}

TEST(URLWithComponents, OtherKindsRaise) {
  EXPECT_THROW(URLWithComponents({{"host", 1}}), NSException);
  EXPECT_THROW(URLWithComponents({{"query", List{"a"}}}), NSException);
  EXPECT_THROW(URLWithComponents({{"query", Dictionary{{"a", 1}}}}), NSException);
  try {
    URLWithComponents({{"query", Dictionary{{"a", 1}}}});
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), WrongKindException);
    EXPECT_EQ(exception.reason(), "query: a: a number has no characters");
  }
}

TEST(URLWithValue, TakesOptionals) {
  const NSURL page = NSURL::URLWithString("x://u@h:8/p?q").value();
  EXPECT_EQ(text(URLWithHost(page, std::optional<std::string>("other"))), "x://u@other:8/p?q");
  EXPECT_EQ(text(URLWithHost(page, page.user())), "x://u@u:8/p?q");
  EXPECT_EQ(text(URLWithQuery(page, std::nullopt)), "x://u@h:8/p");
  EXPECT_EQ(text(URLWithQuery(page, page.fragment())), "x://u@h:8/p");
  EXPECT_EQ(text(URLWithPort(page, std::optional<int>())), "x://u@h/p?q");
  EXPECT_EQ(text(URLWithPort(page, 9U)), "x://u@h:9/p?q");
}

TEST(Components, AllNineInTheirOrder) {
  const Dictionary all = components(url("x://u:w@h:007/p%20q/;r?s=%20#t"));
  std::string keys;
  for (const auto& [key, value] : all) keys += std::string(key) + " ";
  EXPECT_EQ(keys, "scheme host port user password path parameterString query fragment ");
  EXPECT_EQ(all, (Dictionary{{"scheme", "x"},
                             {"host", "h"},
                             {"port", 7},
                             {"user", "u"},
                             {"password", "w"},
                             {"path", "/p q"},
                             {"parameterString", "r"},
                             {"query", "s=%20"},
                             {"fragment", "t"}}));
  EXPECT_EQ(components(url("x://h/")), (Dictionary{{"scheme", "x"}, {"host", "h"}, {"path", "/"}}));
  EXPECT_EQ(components(url("mailto:a@b?c=d")), (Dictionary{{"scheme", "mailto"}}));
}

TEST(Components, AgreeWithTheTable) {
  const auto rows = testing::readJsonLines("urls.jsonl");
  ASSERT_EQ(rows.size(), 700U);
  std::size_t checked = 0;
  for (const Value& row : rows) {
    if (row.objectForKey("want").isAbsent()) continue;
    const Value wanted = row.objectForKey("want");
    Dictionary want = wanted.dictionary();
    want.remove("absoluteString");
    const Value given = row.objectForKey("url");
    const Dictionary got = components(url(given.text()));
    EXPECT_EQ(got, want) << given.text();
    ++checked;
  }
  EXPECT_GT(checked, 400U);
}

TEST(URLWithValue, ReplacesAddsAndRemoves) {
  const NSURL subject = url("x://u:w@h:8/p;r?s#t");
  EXPECT_EQ(text(URLWithHost(subject, "g")), "x://u:w@g:8/p;r?s#t");
  EXPECT_EQ(text(URLWithPort(subject, 9)), "x://u:w@h:9/p;r?s#t");
  EXPECT_EQ(text(URLWithUser(subject, "v")), "x://v:w@h:8/p;r?s#t");
  EXPECT_EQ(text(URLWithPassword(subject, "y")), "x://u:y@h:8/p;r?s#t");
  EXPECT_EQ(text(URLWithPath(subject, "/q")), "x://u:w@h:8/q;r?s#t");
  EXPECT_EQ(text(URLWithParameterString(subject, "z")), "x://u:w@h:8/p;z?s#t");
  EXPECT_EQ(text(URLWithQuery(subject, "z")), "x://u:w@h:8/p;r?z#t");
  EXPECT_EQ(text(URLWithQuery(subject, Dictionary{{"a", "b"}})), "x://u:w@h:8/p;r?a=b#t");
  EXPECT_EQ(text(URLWithFragment(subject, "z")), "x://u:w@h:8/p;r?s#z");

  EXPECT_EQ(text(URLWithHost(subject, {})), "x://u:w@:8/p;r?s#t");
  EXPECT_EQ(text(URLWithPort(subject, {})), "x://u:w@h/p;r?s#t");
  EXPECT_EQ(text(URLWithUser(subject, {})), "x://h:8/p;r?s#t");
  EXPECT_EQ(text(URLWithPassword(subject, {})), "x://u@h:8/p;r?s#t");
  EXPECT_EQ(text(URLWithPath(subject, {})), "x://u:w@h:8;r?s#t");
  EXPECT_EQ(text(URLWithParameterString(subject, {})), "x://u:w@h:8/p?s#t");
  EXPECT_EQ(text(URLWithQuery(subject, {})), "x://u:w@h:8/p;r#t");
  EXPECT_EQ(text(URLWithQuery(subject, "")), "x://u:w@h:8/p;r?#t");
  EXPECT_EQ(text(URLWithFragment(subject, {})), "x://u:w@h:8/p;r?s");

  EXPECT_EQ(text(URLWithHost(subject, "")), "x://u:w@:8/p;r?s#t");
  EXPECT_EQ(text(URLWithUser(subject, "")), "x://:w@h:8/p;r?s#t");
  EXPECT_EQ(text(URLWithPassword(subject, "")), "x://u:@h:8/p;r?s#t");
  EXPECT_EQ(text(URLWithPath(subject, "")), "x://u:w@h:8;r?s#t");
  EXPECT_EQ(text(URLWithParameterString(subject, "")), "x://u:w@h:8/p;?s#t");
  EXPECT_EQ(text(URLWithFragment(subject, "")), "x://u:w@h:8/p;r?s#");
  EXPECT_EQ(text(URLWithValue(subject, "z", "nonsense")), "x://u:w@h:8/p;r?s#t");

  EXPECT_EQ(text(URLWithPort(url("x://h/p"), 80)), "x://h:80/p");
  EXPECT_EQ(text(URLWithValue(subject, {}, URLSchemeComponent)), "u:w@h:8/p;r?s%23t");
}

TEST(URLWithValue, WorksOnDecodedParts) {
  // The path's escapes are gone, and with them the URL.
  EXPECT_EQ(text(URLWithFragment(url("x://h/a%20b"), "f")), std::nullopt);
  EXPECT_EQ(text(URLWithFragment(url("x://h/%C3%A9"), "f")), std::nullopt);
  // The trailing "/" and the brackets of an address go too.
  EXPECT_EQ(text(URLWithFragment(url("x://h/a/"), "f")), "x://h/a#f");
  EXPECT_EQ(text(URLWithFragment(url("x://[::1]/a"), "f")), "x://::1/a#f");
  EXPECT_EQ(text(URLWithFragment(url("mailto:a@b"), "f")), "mailto://#f");
}

TEST(URLWithScheme, WorksOnTheText) {
  EXPECT_EQ(text(URLWithScheme(url("x://h/a%20b/?q#f"), "longer")), "longer://h/a%20b/?q#f");
  EXPECT_EQ(text(URLWithScheme(url("mailto:a@b"), "x")), "x:a@b");
  EXPECT_EQ(text(URLWithScheme(url("h/p"), "x")), "xh/p");  // no scheme, no "://"
  EXPECT_EQ(text(URLWithScheme(url("//h/p"), "x:")), "x://h/p");
  EXPECT_EQ(text(URLWithScheme(url("x://h"), "a b")), std::nullopt);
}

}  // namespace
}  // namespace korvane::RequestUtils
