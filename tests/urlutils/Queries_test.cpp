#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "platform/NSException.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

using Text = std::optional<std::string>;

// The name of the exception that the call raises; "" when it raises none.
template <class Call>
std::string raised(Call&& call) {
  try {
    call();
  } catch (const NSException& exception) {
    return exception.name();
  }
  return "";
}

Value list(std::initializer_list<Value> values) { return Value(List(values)); }

TEST(RangeOfURLQuery, EdgeCases) {
  const auto none = URLQueryRange{};
  EXPECT_EQ(none.location, 0x7fffffffffffffffU);
  EXPECT_EQ(none.length, 0U);
  const struct {
    const char* subject;
    URLQueryRange range;
  } rows[] = {
      {"", none},
      {"x://h/p", none},
      {"x://h/p?", {7, 1}},
      {"x://h/p?#", {7, 1}},
      {"x://h/p?a=1#f", {7, 4}},
      {"x://h/p?a=1?b=2#f?g", {7, 8}},
      {"?", {0, 1}},
      {"a=1&b=2", {0, 7}},
      {"a=1#f", {0, 3}},
      {"page=1/x", {0, 8}},   // any "=" makes a query of the whole
      {"x://h/p#a=1", none},  // but only before the "#"
      {"é=1", {0, 4}},        // bytes
      {"é?a", {2, 2}},
  };
  for (const auto& row : rows) EXPECT_EQ(rangeOfURLQuery(row.subject), row.range) << row.subject;
}

TEST(RangeOfURLQuery, FragmentBeforeQueryIsOutOfRange) {
  const std::string_view subject = "x://h/#f?x";
  EXPECT_EQ(raised([&] { rangeOfURLQuery(subject); }), NSRangeException);
  EXPECT_EQ(raised([&] { URLQuery(subject); }), NSRangeException);
  EXPECT_EQ(raised([&] { stringByDeletingURLQuery(subject); }), NSRangeException);
  EXPECT_EQ(raised([&] { stringByReplacingURLQueryWithQuery(subject, "a=1"); }), NSRangeException);
  EXPECT_EQ(raised([&] { URLQueryParameters(subject); }), NSRangeException);
  EXPECT_EQ(raised([&] { stringByMergingURLQuery(subject, "a=1"); }), NSRangeException);
  EXPECT_EQ(raised([&] { stringByMergingURLQuery("a=1", subject); }), NSRangeException);
  // Appending takes the fragment off first.
  EXPECT_EQ(stringByAppendingURLQuery(subject, "a=1"), "x://h/?a=1#f?x");
}

TEST(URLQuery, EdgeCases) {
  const struct {
    const char* subject;
    Text query;
    const char* deleted;
  } rows[] = {
      {"x://h/p", std::nullopt, "x://h/p"},
      {"x://h/p?", "", "x://h/p"},
      {"x://h/p?#f", "", "x://h/p#f"},
      {"x://h/p?a=1#f", "a=1", "x://h/p#f"},
      {"a=1#f", "a=1", "#f"},
      {"a=1", "a=1", ""},
      {"??a=1", "?a=1", ""},
      {"", std::nullopt, ""},
      {"#a=1", std::nullopt, "#a=1"},
      {"page=1", "page=1", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(URLQuery(row.subject), row.query) << row.subject;
    EXPECT_EQ(stringByDeletingURLQuery(row.subject), row.deleted) << row.subject;
  }
}

TEST(StringByAppendingURLQuery, EdgeCases) {
  const struct {
    const char* subject;
    std::optional<std::string_view> query;
    const char* result;
  } rows[] = {
      {"x://h/p#frag", "b=2", "x://h/p?b=2#frag"},
      {"x://h/p?a=1", "b=2", "x://h/p?a=1&b=2"},
      {"x://h/p?", "b=2", "x://h/p?b=2"},
      {"x://h/p#", "b=2", "x://h/p?b=2"},  // a bare "#" goes
      {"x://h/p#", "", "x://h/p#"},        // but not when nothing is appended
      {"x://h/p#", std::nullopt, "x://h/p#"},
      {"x", "?a=1", "x??a=1"},
      {"a=1", "b=2", "a=1&b=2"},
      {"", "b=2", "?b=2"},
      {"x?a#f#g", "b=2", "x?a&b=2#f#g"},
      {"x#f?y", "b", "x?b#f?y"},
      {"x", "a b#c", "x?a b#c"},  // as it is
  };
  for (const auto& row : rows) {
    EXPECT_EQ(stringByAppendingURLQuery(row.subject, row.query), row.result) << row.subject;
  }
}

TEST(StringByReplacingURLQuery, EdgeCases) {
  EXPECT_EQ(stringByReplacingURLQueryWithQuery("x?a=1#f", "b=2"), "x?b=2#f");
  EXPECT_EQ(stringByReplacingURLQueryWithQuery("x?a=1#", "b=2"), "x?b=2");
  EXPECT_EQ(stringByReplacingURLQueryWithQuery("x?a=1#f", std::nullopt), "x#f");
  EXPECT_EQ(stringByReplacingURLQueryWithQuery("x?a=1#", ""), "x#");
  EXPECT_EQ(stringByReplacingURLQueryWithQuery("a=1", "b=2"), "?b=2");
  EXPECT_EQ(stringByReplacingURLQueryWithQuery("x=1/y?a=1#f", "b=2"), "x=1/y&b=2#f");
}

TEST(WriteQuery, EdgeCases) {
  const Dictionary several = {{"to", list({"a", "b"})}};
  const struct {
    Dictionary parameters;
    URLQueryFlags options;
    const char* query;
  } rows[] = {
      {{}, 0, ""},
      {{{"k", list({})}}, 0, ""},
      {{{"a", "1"}, {"k", list({})}, {"b", "2"}}, 0, "a=1&b=2"},
      {{{"k", list({})}, {"b", "2"}}, 1, "b=2"},
      {{{"k", list({})}, {"b", "2"}}, 10, "b=2"},
      {several, 0, "to=a&to=b"},
      {several, URLQueryBracketSyntax, "to[]=a&to[]=b"},
      {several, URLQueryModeKeepLast, "to=b"},
      {several, URLQueryModeKeepFirst, "to=a"},
      {several, URLQueryModeCollect, "to=a&to=b"},
      {several, URLQueryModeAlwaysList, "to=a&to=b"},
      {several, 5, "to=a&to=b"},
      {several, 6, "to=a&to=b"},
      {several, 7, "to=a&to=b"},
      {several, 9, "to=b"},  // modes 1 and 2 write no brackets
      {several, 10, "to=a"},
      {several, 12, "to[]=a&to[]=b"},
      {several, 15, "to[]=a&to[]=b"},
      {several, 0x7FFFFFF0 | 1, "to=b"},
      {several, -16 | 2, "to=a"},  // other bits play no part, the sign among them
      {several, -1, "to[]=a&to[]=b"},
      {{{"k", "v"}}, -4, "k[]=v"},
      {{{"k", "v"}}, std::numeric_limits<URLQueryFlags>::min(), "k=v"},
      {{{"k", "v"}}, 12, "k[]=v"},
      {{{"k", "v"}}, 8, "k=v"},
      {{{"k", "v"}}, 4, "k=v"},
      {{{"k", "v"}}, 15, "k=v"},
      {{{"", ""}}, 0, "="},
      {{{"é", "a b+"}}, 0, "%C3%A9=a%20b%2B"},
      {{{"k[]", list({"v"})}}, 8, "k%5B%5D[]=v"},
      {{{"z", "1"}, {"a", "2"}}, 0, "z=1&a=2"},  // never sorted
  };
  for (const auto& row : rows) {
    EXPECT_EQ(URLQueryWithParameters(row.parameters, row.options), row.query)
        << row.query << " " << row.options;
  }
}

TEST(Queries, AReasonSaysWhereAndShowsNothingOfTheQuery) {
  const auto reason = [](const auto& call) -> std::string {
    try {
      call();
    } catch (const NSException& exception) {
      return exception.reason();
    }
    return {};
  };
  EXPECT_EQ(reason([] {
              URLQueryWithParameters({{"a", "1"}, {"b", 2}});
            }),
            "b: a number has no characters");
  EXPECT_EQ(reason([] { URLQueryParameters("x=1&secret&%zz=2"); }),
            "the key of pair 3 of a query does not decode");
  EXPECT_EQ(reason([] { URLQueryParameters("secret=%FF"); }),
            "the value of pair 1 of a query does not decode");
}

TEST(WriteQuery, RefusesOtherValues) {
  for (const Value& value : {Value(), Value(1), Value(true), Value(Dictionary()), Value(NSData()),
                             list({Value()}), list({"a", 1}), list({list({"a"})})}) {
    EXPECT_EQ(raised([&] {
                URLQueryWithParameters({{"k", value}});
              }),
              WrongKindException)
        << value.description();
  }
  // Also an element that would not be written.
  for (const URLQueryFlags options : {1, 2, 9, 10}) {
    for (const Value& value : {list({"a", 1}), list({1, "a"}), list({"a", list({}), "a"})}) {
      EXPECT_EQ(raised([&] {
                  URLQueryWithParameters({{"k", value}}, options);
                }),
                WrongKindException)
          << options << " " << value.description();
    }
  }
}

TEST(ReadQuery, EdgeCases) {
  const Dictionary none;
  const struct {
    const char* query;
    URLQueryFlags options;
    Dictionary parameters;
  } rows[] = {
      {"", 0, none},
      {"x://h/p", 0, none},
      {"x://h/p?", 0, none},
      {"?&&", 0, none},
      {"a=1&a=2", 0, {{"a", "2"}}},
      {"a=1&a=2", 1, {{"a", "2"}}},
      {"a=1&a=2", 2, {{"a", "1"}}},
      {"a=1&a=2", 3, {{"a", list({"1", "2"})}}},
      {"a=1&a=2", 4, {{"a", list({"1", "2"})}}},
      {"a=1&a=2&a=3", 5, {{"a", list({"1", "2", "3"})}}},
      {"a=1", 3, {{"a", "1"}}},
      {"a=1", 4, {{"a", list({"1"})}}},
      {"a=1", 7, {{"a", "1"}}},
      {"a[]=1", 0, {{"a", "1"}}},
      {"a[]=1", 3, {{"a", list({"1"})}}},
      {"a[]=1", 11, {{"a", list({"1"})}}},  // the bracket flag plays no part
      {"a[]=1", 8, {{"a", "1"}}},
      {"a[]=1", 6, {{"a", "1"}}},
      {"a[]=1&a[]=2", 1, {{"a", "2"}}},
      {"a[]=1&a[]=2", 2, {{"a", "1"}}},
      {"a[]=1&a=2&a[]=3", 3, {{"a", list({"1", "2", "3"})}}},
      {"a%5B%5D=1", 3, {{"a", list({"1"})}}},
      {"a[][]=1", 0, {{"a[]", "1"}}},
      {"[]=1", 0, {{"", "1"}}},
      {"x=a+b%2B", 0, {{"x", "a b+"}}},
      {"a+b=1", 0, {{"a b", "1"}}},
      {"flag&x=1", 0, {{"x", "1"}}},
      {"=v", 0, {{"", "v"}}},
      {"a=", 0, {{"a", ""}}},
      {"a=1=2", 0, {{"a", "1"}}},
      {"a=1=%zz", 0, {{"a", "1"}}},  // the third part is not looked at
      {"%zz&a=1", 0, {{"a", "1"}}},  // nor a piece without "="
      {"a=1&a=%zz", 2, {{"a", "1"}}},
      {"korvane://compose?to=a%40b&to=c#f", 0, {{"to", "c"}}},
      {"x?a=1?b=2", 0, {{"a", "1?b"}}},
      {"a=1;b=2", 0, {{"a", "1;b"}}},
      {"[]=1", 3, {{"", list({"1"})}}},
      {"a[x]=1&a[]x=2", 3, {{"a[x]", "1"}, {"a[]x", "2"}}},  // no list keys
      {"a%20=1&a+=2", -5, {{"a ", list({"1", "2"})}}},
      {"a[]=1", -1, {{"a", "1"}}},
      {"b=1&a=2&b=3", 0, {{"b", "3"}, {"a", "2"}}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(URLQueryParameters(row.query, row.options), row.parameters)
        << row.query << " " << row.options << " gives "
        << Value(URLQueryParameters(row.query, row.options)).description();
    EXPECT_EQ(URLQueryParametersWithOptions(row.query, row.options), row.parameters);
  }
}

TEST(ReadQuery, OrderOfFirstOccurrence) {
  std::string keys;
  for (const auto& [key, value] : URLQueryParameters("b=1&a=2&b=3&c=4")) keys += key;
  EXPECT_EQ(keys, "bac");
}

TEST(ReadQuery, BadEscapesRaise) {
  for (const char* query : {"a=%zz", "%zz=1", "a=%FF", "a=%", "a=1&a=%4", "%C3=1"}) {
    EXPECT_EQ(raised([&] { URLQueryParameters(query); }), UndecodableException) << query;
  }
  EXPECT_EQ(raised([] { URLQueryParameters("a=1&a=%zz", 3); }), UndecodableException);
  EXPECT_EQ(raised([] { URLQueryParameters("a[]=1&a[]=%zz", 4); }), UndecodableException);
  // The reason may be logged: it shows nothing of the query.
  for (const char* query : {"a=secret%zz", "secret%zz=1"}) {
    try {
      URLQueryParameters(query);
      ADD_FAILURE() << query;
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.reason().find("secret"), std::string::npos) << exception.reason();
    }
  }
}

TEST(MergeQuery, EdgeCases) {
  const struct {
    const char* subject;
    const char* query;
    URLQueryFlags options;
    const char* result;
  } rows[] = {
      {"x://h/p?a=1", "b=2", 0, "x://h/pa=1&b=2"},  // the "?" goes
      {"a=1", "b=2", 0, "a=1&b=2"},
      {"a=1", "?b=2", 0, "a=1&b=2"},
      {"a=1", "y://i/q?b=2#g", 0, "a=1&b=2"},
      {"a=1#f", "b=2", 0, "a=1&b=2#f"},
      {"x?a=1#", "b=2", 0, "xa=1&b=2#"},  // in place, a bare "#" stays
      {"x#", "b=2", 0, "x?b=2"},
      {"x", "flag", 0, "x"},
      {"a=1", "flag", 0, "a=1"},
      {"a=1", "", 0, "a=1"},
      {"a=1", "?", 0, "a=1"},
      {"x", "b=2", 0, "x?b=2"},
      {"x?", "b=2", 0, "x?b=2"},
      {"", "b=2", 0, "?b=2"},
      {"x", "%zz=2", 0, "x?%zz=2"},       // appended as it is
      {"a=1&flag", "b=2", 0, "a=1&b=2"},  // pieces without "=" go
      {"a=1", "x?flag", 0, "a=1"},
      {"a=1&flag", "x?flag", 0, "a=1"},
      {"x?y=1?z=2", "b=2", 0, "xz=2&b=2"},  // the query of the query
      {"a=1", "x?y=1?z=2", 0, "a=1&z=2"},
      {"a=1", "a=2", 0, "a=2"},
      {"a=1", "a=2", 1, "a=2"},
      {"a=1", "a=2", 2, "a=1"},
      {"a=1", "a=2", 3, "a=1&a=2"},
      {"a=1", "a=2", 4, "a=1&a=2"},
      {"a=1", "a=2", 5, "a=2"},
      {"a=1", "a=2", 7, "a=2"},
      {"a=1", "a=2&a=3", 3, "a=1&a=2&a=3"},
      {"a=1&a=2", "a=3", 3, "a=1&a=2&a=3"},
      {"a=1&a=2", "a=3&a=4", 5, "a=1&a=2&a=3&a=4"},
      {"a=1", "a=2", 11, "a[]=1&a[]=2"},
      {"a[]=1", "a=2", 3, "a=1&a=2"},
      {"a=1", "a=2", 12, "a[]=1&a[]=2"},
      {"b=1&a=1", "c=1&a=2", 0, "b=1&a=2&c=1"},
      {"x", "b=2", 4, "x?b=2"},  // no query, no merging
      {"a=1+1", "b=%26", 0, "a=1%201&b=%26"},
      {"x?flag", "a=1", 0, "xa=1"},
      {"?a=1", "b=2", 0, "a=1&b=2"},
      {"a=1", "?flag", 12, "a[]=1"},  // nothing new, written in the mode asked for
      {"a[]=1", "a[]=2", 5, "a=2"},
      {"a=1", "a=2", -4, "a[]=1&a[]=2"},
      {"a=1&a=2", "b=1", -1, "a[]=1&a[]=2&b=1"},
      {"x#?", "flag", 0, "x#?"},  // nothing to merge, so the subject is not looked at
  };
  for (const auto& row : rows) {
    EXPECT_EQ(stringByMergingURLQuery(row.subject, row.query, row.options), row.result)
        << row.subject << " " << row.query << " " << row.options;
  }
}

TEST(MergeQuery, NewKeyInModeAlwaysListRaises) {
  EXPECT_EQ(raised([] { stringByMergingURLQuery("a=1", "b=2", URLQueryModeAlwaysList); }),
            WrongKindException);
  EXPECT_EQ(raised([] { stringByMergingURLQuery("a=1", "a=2&b=2", 12); }), WrongKindException);
}

TEST(MergeQuery, BadEscapesRaise) {
  EXPECT_EQ(raised([] { stringByMergingURLQuery("a=%zz", "b=2"); }), UndecodableException);
  EXPECT_EQ(raised([] { stringByMergingURLQuery("a=1", "b=%zz"); }), UndecodableException);
}

std::string randomText(std::mt19937& random) {
  const std::string_view characters[] = {"a", "b", " ", "+", "%",  "&", "=", "?",
                                         "#", "[", "]", "é", "漢", "/", ":", ";"};
  std::string text;
  for (std::size_t n = random() % 6; n > 0; --n) text += characters[random() % 16];
  return text;
}

// What is written in mode 3 or 4 reads back in the same mode, with brackets or without.
TEST(Queries, WhatIsWrittenReadsBack) {
  std::mt19937 random(11);
  for (int round = 0; round < 3000; ++round) {
    Dictionary single, collected, lists;
    for (std::size_t n = random() % 6; n > 0; --n) {
      const std::string key = randomText(random);
      if (key.ends_with("[]")) continue;  // reads as a list key
      const Value value(randomText(random));
      single.set(key, value);
      List values{value};
      for (std::size_t more = random() % 3; more > 0; --more) {
        values.emplace_back(randomText(random));
      }
      lists.set(key, Value(values));
      collected.set(key, values.size() == 1 ? value : Value(values));
    }
    const auto read = [](const Dictionary& parameters, URLQueryFlags options) {
      return URLQueryParameters("x://h/?" + URLQueryWithParameters(parameters, options), options);
    };
    for (const URLQueryFlags options : {0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 11}) {
      ASSERT_EQ(read(single, options), single) << options;
    }
    ASSERT_EQ(read(collected, 3), collected);
    ASSERT_EQ(read(lists, 11), lists);
    ASSERT_EQ(read(lists, 4), lists);
    ASSERT_EQ(read(lists, 12), lists);
  }
}

TEST(Queries, ManyParametersAreLinear) {
  List values;
  for (int i = 0; i < 200'000; ++i) values.emplace_back("/folder/" + std::to_string(i));
  const Dictionary parameters = {{"attachments", Value(values)}};
  const std::string query = URLQueryWithParameters(parameters);
  EXPECT_EQ(URLQueryParameters(query, URLQueryModeCollect), parameters);

  std::string keys;
  for (int i = 0; i < 100'000; ++i) keys += "k" + std::to_string(i) + "=1&";
  EXPECT_EQ(URLQueryParameters(keys).size(), 100'000U);
}

}  // namespace
}  // namespace korvane::RequestUtils
