#include "platform/NSURLRequest.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(NSURLRequest, StartsAsGET) {
  const NSMutableURLRequest request(NSURL::URLWithString("x://h/"));
  EXPECT_EQ(request.URL()->absoluteString(), "x://h/");
  EXPECT_EQ(request.HTTPMethod(), "GET");
  EXPECT_EQ(request.HTTPBody(), std::nullopt);
  EXPECT_TRUE(request.allHTTPHeaderFields().empty());
  EXPECT_EQ(request.valueForHTTPHeaderField("Accept"), std::nullopt);
}

TEST(NSURLRequest, HeaderNamesCompareWithoutCase) {
  NSMutableURLRequest request(std::nullopt);
  request.addValueForHTTPHeaderField("a", "X-Field");
  request.addValueForHTTPHeaderField("b", "x-FIELD");
  request.addValueForHTTPHeaderField("", "X-Other");
  EXPECT_EQ(request.valueForHTTPHeaderField("x-field"), "a,b");
  EXPECT_EQ(request.valueForHTTPHeaderField("x-other"), "");
  EXPECT_EQ(request.valueForHTTPHeaderField("x-fiel"), std::nullopt);
  EXPECT_EQ(request.valueForHTTPHeaderField("x\x0D"
                                            "field"),
            std::nullopt);
  const std::vector<NSURLRequest::HeaderField> fields{{"X-Field", "a,b"}, {"X-Other", ""}};
  EXPECT_EQ(request.allHTTPHeaderFields(), fields);
  // Only ASCII letters have a case here.
  request.setValueForHTTPHeaderField("c", "[");
  EXPECT_EQ(request.valueForHTTPHeaderField("{"), std::nullopt);
}

TEST(NSURLRequest, SettingReplacesAndRemoves) {
  NSMutableURLRequest request(std::nullopt);
  request.setValueForHTTPHeaderField("a", "Field");
  request.setValueForHTTPHeaderField("b", "FIELD");
  EXPECT_EQ(request.valueForHTTPHeaderField("Field"), "b");
  request.setValueForHTTPHeaderField(std::nullopt, "field");
  request.setValueForHTTPHeaderField(std::nullopt, "field");
  EXPECT_TRUE(request.allHTTPHeaderFields().empty());
  request.addValueForHTTPHeaderField("c", "field");
  EXPECT_EQ(request.valueForHTTPHeaderField("Field"), "c");
}

TEST(NSURLRequest, OtherFields) {
  NSMutableURLRequest request(std::nullopt);
  request.setURL(NSURL::URLWithString("x://h/p"));
  request.setHTTPMethod("Patch");
  request.setHTTPBody(NSData{});
  EXPECT_EQ(request.URL()->path(), "/p");
  EXPECT_EQ(request.HTTPMethod(), "Patch");
  EXPECT_EQ(request.HTTPBody(), NSData{});
  request.setHTTPBody(std::nullopt);
  EXPECT_EQ(request.HTTPBody(), std::nullopt);
  const NSURLRequest copy = request;
  request.setHTTPMethod("GET");
  EXPECT_EQ(copy.HTTPMethod(), "Patch");
}

}  // namespace
}  // namespace korvane
