#include <gtest/gtest.h>

#include <filesystem>

#include "platform/NSException.h"
#include "support/JsonLines.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

TEST(LastURLPathComponent, EdgeCases) {
  const std::pair<const char*, const char*> rows[] = {
      {"", ""},
      {"x://h/a/b.txt?q=1", "b.txt"},
      {"x://h/a/b.txt?q=/1#/f", "b.txt"},
      {"x://h/a/b.txt#f?g/h", "b.txt"},
      {"x://h/a/", ""},
      {"x://h", "h"},
      {"f.txt", "f.txt"},
      {"/", ""},
      {"#f", ""},
      {"a=1/b", ""},  // a query without "?"
  };
  for (const auto& [subject, last] : rows) EXPECT_EQ(lastURLPathComponent(subject), last);
}

TEST(StringByDeletingLastURLPathComponent, EdgeCases) {
  const std::pair<const char*, const char*> rows[] = {
      {"", ""},
      {"x://h/a/b", "x://h/a/"},
      {"x://h/a/", "x://h/a/"},
      {"x://h", "x://"},
      {"f", "f"},
      {"x://h/a/b?q=/1#f", "x://h/a/?q=/1#f"},
      {"x://h/a/b#f?g/h", "x://h/a/#f?g/h"},  // no failure: the fragment goes first
      {"x://h/a/b?", "x://h/a/"},             // an empty query is not put back
      {"x://h/a/b#", "x://h/a/#"},            // a bare "#" is
      {"x://h/a=1/b?q=1", "x://h/a=1/&q=1"},  // what remains is taken for a query
      {"a/b=1#f", "?a/b=1#f"},                // or all of it was one
  };
  for (const auto& [subject, cut] : rows) {
    EXPECT_EQ(stringByDeletingLastURLPathComponent(subject), cut) << subject;
  }
}

TEST(StringByAppendingURLPathComponent, EdgeCases) {
  const struct {
    const char* subject;
    const char* component;
    const char* result;
  } rows[] = {
      {"x://h/a?q=1#f", "/c", "x://h/a/c?q=1#f"},
      {"", "c", "c"},
      {"", "/c", "c"},
      {"x://h/a", "//c", "x://h/a//c"},  // one "/" is dropped
      {"x://h/a/", "/c", "x://h/a/c"},
      {"x://h/a", "", "x://h/a/"},
      {"x://h/a", "b c/d", "x://h/a/b c/d"},  // not encoded
      {"x://h/a#f/g?h", "c", "x://h/a/c#f/g?h"},
      {"x://h/a?q=/1", "c", "x://h/a/c?q=/1"},
      {"?q=1", "c", "c?q=1"},
      {"#f", "c", "c#f"},
      {"a=1", "c", "c?a=1"},
      {"x://h/a?", "c", "x://h/a/c"},
      {"x://h/a#", "c", "x://h/a/c#"},
      {"x://h/k=v?q=1", "c", "x://h/k=v/c&q=1"},
      {"x://h?q=1", "c?d", "x://h/c?d&q=1"},  // a component with marks of its own
      {"x://h?q=1", "c#d", "x://h/c?q=1#d"},
      {"x://h#f", "c#d", "x://h/c#df"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(stringByAppendingURLPathComponent(row.subject, row.component), row.result)
        << row.subject << " " << row.component;
  }
}

TEST(URLPathExtension, EdgeCases) {
  const struct {
    const char* subject;
    const char* extension;
    const char* deleted;
  } rows[] = {
      {"x://h/a/b.txt?q=1", "txt", "x://h/a/b?q=1"},
      {"x://h/a/b.tar.gz#f.g", "gz", "x://h/a/b.tar#f.g"},
      {"x://h/a.b/c", "", "x://h/a.b/c"},
      {"x://h/.profile", "", "x://h/.profile"},
      {"x://h/..", "", "x://h/.."},
      {"x://h/notes.", "", "x://h/notes"},
      {"x://h/a/", "", "x://h/a/"},
      {"f.txt", "txt", "f.txt/f"},  // without a "/" the name is doubled
      {"", "", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(URLPathExtension(row.subject), row.extension) << row.subject;
    EXPECT_EQ(stringByDeletingURLPathExtension(row.subject), row.deleted) << row.subject;
  }
}

TEST(StringByAppendingURLPathExtension, EdgeCases) {
  const struct {
    const char* subject;
    const char* extension;
    const char* result;
  } rows[] = {
      {"x://h/f?a=1#t", "txt", "x://h/f.txt?a=1#t"},
      {"x://h/f.tar", "gz", "x://h/f.tar.gz"},
      {"x://h/f", "", "x://h/f."},
      {"f", "txt", "f/f.txt"},
      {"x://h/a/", "txt", "x://h/a/"},  // nothing to extend
      {"x://h/f", "/txt", "x://h/f"},   // no extension
      {"x://h", "txt", "x://h.txt"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(stringByAppendingURLPathExtension(row.subject, row.extension), row.result)
        << row.subject << " " << row.extension;
  }
}

// Edits leave query and fragment alone wherever the path has no "=" of its own.
TEST(URLPaths, QueryAndFragmentStay) {
  for (const std::string path : {"", "x", "x://h", "x://h/", "x://h/a.b", "/a/b/", "a.b/c.d"}) {
    for (const std::string query : {"", "?q", "?a=1&b=/2", "?/?a", "?a.b/c.d"}) {
      for (const std::string fragment : {"", "#", "#f", "#f?g/h", "#a=1", "##"}) {
        const std::string subject = path + query + fragment;
        for (const std::string& edited : {stringByDeletingLastURLPathComponent(subject),
                                          stringByAppendingURLPathComponent(subject, "c.e"),
                                          stringByDeletingURLPathExtension(subject),
                                          stringByAppendingURLPathExtension(subject, "x")}) {
          EXPECT_TRUE(edited.ends_with(query + fragment)) << subject << " gives " << edited;
          EXPECT_EQ(URLFragment(edited), URLFragment(subject));
        }
      }
    }
  }
}

TEST(URLValue, AgreesWithTheTables) {
  const auto rows = testing::readJsonLines("urls.jsonl");
  std::size_t checked = 0;
  for (const Value& row : rows) {
    const Value text = row.objectForKey("url");
    if (text.text().starts_with('/') || text.text().starts_with('~')) continue;
    const auto url = URLValue(text.text());
    EXPECT_EQ(url ? Value(url->absoluteString()) : Value(),
              row.objectForKey("want").objectForKey("absoluteString"));
    ++checked;
  }
  EXPECT_GT(checked, 500U);
}

TEST(URLValueRelativeToURL, AgreesWithTheTable) {
  const auto rows = testing::readJsonLines("relative-urls.jsonl");
  ASSERT_EQ(rows.size(), 110U);
  for (const Value& row : rows) {
    const Value text = row.objectForKey("url");
    const Value base = row.objectForKey("base");
    const auto url = URLValueRelativeToURL(text.text(), *NSURL::URLWithString(base.text()));
    EXPECT_EQ(url ? Value(url->absoluteString()) : Value(), row.objectForKey("want"));
  }
}

TEST(URLValue, AbsolutePathsGiveFileURLs) {
  EXPECT_EQ(URLValue("/no such/file é?#;%")->absoluteString(),
            "file:///no%20such/file%20%C3%A9%3F%23%3B%25");
  // "~" stands for itself.
  const auto home = URLValue("~/x");
  ASSERT_TRUE(home);
  EXPECT_TRUE(home->isFileURL());
  EXPECT_EQ(home->path(), std::filesystem::current_path().native() + "/~/x");
  EXPECT_EQ(URLValue("a b"), std::nullopt);
}

}  // namespace
}  // namespace korvane::RequestUtils
