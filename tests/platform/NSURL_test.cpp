#include "platform/NSURL.h"

#include <gtest/gtest.h>

#include "support/JsonLines.h"

namespace korvane {
namespace {

using testing::readJsonLines;

template <class T>
Value toValue(const std::optional<T>& part) {
  return part ? Value(*part) : Value();
}

// The parts of a URL under the names that the tables use.
Value partsOf(const NSURL& url) {
  Dictionary parts;
  const auto add = [&](const char* name, Value part) {
    if (!part.isAbsent()) parts.set(name, std::move(part));
  };
  add("absoluteString", Value(url.absoluteString()));
  add("scheme", toValue(url.scheme()));
  add("host", toValue(url.host()));
  add("port", toValue(url.port()));
  add("user", toValue(url.user()));
  add("password", toValue(url.password()));
  add("path", toValue(url.path()));
  add("parameterString", toValue(url.parameterString()));
  add("query", toValue(url.query()));
  add("fragment", toValue(url.fragment()));
  return Value(std::move(parts));
}

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
  }
}

}  // namespace
}  // namespace korvane
