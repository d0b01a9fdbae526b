#include "host/DataURL.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(DataURL, TypeAndBytes) {
  struct Row {
    const char* text;
    const char* type;
    std::optional<std::string> bytes;
  };
  for (const Row& row : {
           Row{"data:,", "text/plain", ""},
           Row{"data:,A%20brief%20note", "text/plain", "A brief note"},
           Row{"data:;charset=utf-8,%C3%BC", "text/plain", "\u00fc"},
           Row{"DATA:Image/PNG;Base64,AAEC", "image/png", std::string("\0\1\2", 3)},
           Row{"data:image/png;base64,AA%2B%2F", "image/png", std::string("\0\x0F\xBF", 3)},
           Row{"data:image/png;base64,AA EC\n", "image/png", std::string("\0\1\2", 3)},
           Row{"data:image/png;base64,AAE", "image/png", std::nullopt},
           Row{"data:image/png;base64,!", "image/png", std::nullopt},
           Row{"data:image/svg+xml;utf8,<svg a=\"50%\"/>", "image/svg+xml", "<svg a=\"50%\"/>"},
           Row{"data:text/html;charset=x;base64,PGI+", "text/html", "<b>"},
           Row{"data:base64,QQ==", "base64", "QQ=="},  // not said to be so
           Row{"data:text/plain,a,b;c", "text/plain", "a,b;c"},
           Row{"data:text/plain,100%25%2", "text/plain", "100%%2"},
       }) {
    const auto url = readDataURL(row.text);
    ASSERT_TRUE(url.has_value()) << row.text;
    EXPECT_EQ(url->type, row.type) << row.text;
    EXPECT_EQ(url->bytes, row.bytes) << row.text;
  }
}

TEST(DataURL, WhatIsNotOne) {
  for (const char* text : {"", "data", "data:", "data:image/png;base64", "datax:,a", " data:,a",
                           "https://example.org/data:,a"}) {
    EXPECT_FALSE(readDataURL(text)) << text;
  }
}

TEST(DataURL, PicturesAreToldByTheirType) {
  EXPECT_EQ(pictureOfDataURL("data:image/png;base64,AAEC"), (NSData{0, 1, 2}));
  EXPECT_EQ(pictureOfDataURL("data:IMAGE/x,a"), (NSData{'a'}));
  for (const char* text : {"data:image/png;base64,!", "data:image/png,", "data:text/plain,x",
                           "data:,image/png", "https://example.org/a.png", ""}) {
    EXPECT_FALSE(pictureOfDataURL(text)) << text;
  }
}

}  // namespace
}  // namespace korvane
