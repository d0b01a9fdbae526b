#include "platform/NSExtension.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(UTType, ConformsToItselfAndItsKind) {
  const struct {
    const char* type;
    bool url, image, text;
  } rows[] = {
      {"public.url", true, false, false},         {"public.file-url", true, false, false},
      {"public.image", false, true, false},       {"public.png", false, true, false},
      {"public.jpeg", false, true, false},        {"public.tiff", false, true, false},
      {"com.compuserve.gif", false, true, false}, {"org.webmproject.webp", false, true, false},
      {"public.heic", false, true, false},        {"com.microsoft.bmp", false, true, false},
      {"public.svg-image", false, true, false},   {"public.text", false, false, true},
      {"public.html", false, false, true},        {"public.plain-text", false, false, true},
      {"public.data", false, false, false},       {"", false, false, false},
      {"PUBLIC.PNG", false, false, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(UTTypeConformsTo(row.type, kUTTypeURL), row.url) << row.type;
    EXPECT_EQ(UTTypeConformsTo(row.type, kUTTypeImage), row.image) << row.type;
    EXPECT_EQ(UTTypeConformsTo(row.type, "public.text"), row.text) << row.type;
    EXPECT_TRUE(UTTypeConformsTo(row.type, row.type)) << row.type;
  }
}

TEST(UTType, AKindDoesNotConformToItsMembers) {
  EXPECT_FALSE(UTTypeConformsTo("public.url", "public.file-url"));
  EXPECT_FALSE(UTTypeConformsTo("public.image", "public.png"));
  EXPECT_FALSE(UTTypeConformsTo("public.png", "public.jpeg"));
}

TEST(UTType, TheTypesAskedForAreThePlatforms) {
  EXPECT_STREQ(kUTTypeURL, "public.url");
  EXPECT_STREQ(kUTTypeImage, "public.image");
}

TEST(NSExtensionItem, ANewOneIsEmpty) {
  const NSExtensionItem item;
  EXPECT_FALSE(item.attributedTitle);
  EXPECT_FALSE(item.attributedContentText);
  EXPECT_TRUE(item.attachments.empty());
}

}  // namespace
}  // namespace korvane
