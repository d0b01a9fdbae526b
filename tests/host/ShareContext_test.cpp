#include "host/ShareContext.h"

#include <gmock/gmock.h>

#include "tests/support/FakeShare.h"

namespace korvane {
namespace {

using ::testing::SizeIs;
using Content = ShareRequest::Content;

class ShareContextTest : public ::testing::Test {
 protected:
  std::shared_ptr<ShareContext> make(const ShareRequest& request) {
    return std::make_shared<ShareContext>(request, run,
                                          [](const std::string&) { return std::nullopt; });
  }
  std::shared_ptr<RunWatch> run = std::make_shared<RunWatch>();
  testing::SharePlatform platform;
};

TEST_F(ShareContextTest, MakesTheItems) {
  ShareRequest request;
  request.items.resize(3);
  request.items[0].title = "T";
  request.items[0].contents = {{Content::Kind::text, "x"}};
  request.items[0].attachments = {ShareRequest::Link{"https://a.example/"},
                                  ShareRequest::ImageData{{1}}};
  request.items[1].title = "";
  request.items[1].attachments = {ShareRequest::File{"/x"}};
  const auto context = make(request);
  const auto& items = context->inputItems();
  ASSERT_THAT(items, SizeIs(3));
  EXPECT_EQ(items[0].attributedTitle->string(), "T");
  EXPECT_EQ(items[0].attributedContentText->string(), "x");
  ASSERT_THAT(items[0].attachments, SizeIs(2));
  EXPECT_TRUE(items[0].attachments[0]->hasItemConformingToTypeIdentifier(kUTTypeURL));
  EXPECT_TRUE(items[0].attachments[1]->hasItemConformingToTypeIdentifier(kUTTypeImage));
  EXPECT_EQ(items[1].attributedTitle->string(), "");
  EXPECT_FALSE(items[1].attributedContentText);
  EXPECT_THAT(items[1].attachments, SizeIs(1));
  EXPECT_FALSE(items[2].attributedTitle);
  EXPECT_THAT(items[2].attachments, SizeIs(0));
  EXPECT_TRUE(context->hasText());
  EXPECT_THAT(run->missing(), SizeIs(3));  // all on their way
}

TEST_F(ShareContextTest, KnowsWhetherTextIsThere) {
  EXPECT_FALSE(make({})->hasText());
  ShareRequest request;
  request.items.resize(2);
  request.items[0].title = "T";
  request.items[1].contents = {{Content::Kind::text, ""}};
  EXPECT_FALSE(make(request)->hasText());
  request.items[1].contents = {{Content::Kind::text, "x"}};
  EXPECT_TRUE(make(request)->hasText());
}

TEST_F(ShareContextTest, WhatIsLostFromTheStartIsKnown) {
  ShareRequest request;
  request.items.resize(2);
  request.items[0].title = "";  // nothing is lost
  request.items[1].title = "T";
  request.unread = {{"x.html", "why"}};
  make(request);
  EXPECT_THAT(run->missing(), ::testing::ElementsAre(
                                  MissingThing{"the title \"T\"", "it is shared with a link only"},
                                  MissingThing{"x.html", "why"}));
}

TEST_F(ShareContextTest, ALinkOfWhichNoURLCanBeMadeIsText) {
  ShareRequest request;
  request.items.resize(1);
  request.items[0].contents = {{Content::Kind::text, "before"}};
  request.items[0].attachments = {ShareRequest::Link{" \n"}, ShareRequest::Link{"a:b"},
                                  ShareRequest::TypedText{"public.url", " "}};
  const auto context = make(request);
  const NSExtensionItem& item = context->inputItems()[0];
  EXPECT_THAT(item.attachments, SizeIs(1));
  EXPECT_EQ(item.attributedContentText->string(), "before\n \n ");
}

TEST_F(ShareContextTest, ALinkThatWouldRunSomethingIsText) {
  ShareRequest request;
  request.items.resize(1);
  request.items[0].title = "T";
  request.items[0].attachments = {
      ShareRequest::Link{"javascript:alert(1)"}, ShareRequest::Link{" JavaScript:a b"},
      ShareRequest::TypedText{"public.url", "data:text/html,x"}, ShareRequest::Link{"VBSCRIPT:x"}};
  const auto context = make(request);
  const NSExtensionItem& item = context->inputItems()[0];
  EXPECT_THAT(item.attachments, SizeIs(0));
  // No link hands the title over, so it is in the text.
  EXPECT_EQ(item.attributedContentText->string(),
            "T\njavascript:alert(1)\n JavaScript:a b\ndata:text/html,x\nVBSCRIPT:x");
}

TEST_F(ShareContextTest, ALinkBesideOneThatIsTextHasTheTitle) {
  ShareRequest request;
  request.items.resize(1);
  request.items[0].title = "T";
  request.items[0].attachments = {ShareRequest::Link{"javascript:alert(1)"},
                                  ShareRequest::Link{"https://a.example/"}};
  const auto context = make(request);
  const NSExtensionItem& item = context->inputItems()[0];
  EXPECT_THAT(item.attachments, SizeIs(1));
  EXPECT_EQ(item.attributedTitle->string(), "T");
  EXPECT_EQ(item.attributedContentText->string(), "javascript:alert(1)");
}

TEST_F(ShareContextTest, TheFirstEndCounts) {
  const auto cancelled = make({});
  EXPECT_FALSE(cancelled->cancelError());
  EXPECT_FALSE(cancelled->returnedItems());
  cancelled->cancelRequestWithError({NSCocoaErrorDomain, NSUserCancelledError, {}});
  bool called = false;
  cancelled->completeRequestReturningItems({NSExtensionItem()}, [&](bool expired) {
    called = true;
    EXPECT_FALSE(expired);
  });
  EXPECT_TRUE(called);
  ASSERT_TRUE(cancelled->cancelError());
  EXPECT_EQ(cancelled->cancelError()->code, 3072);
  EXPECT_FALSE(cancelled->returnedItems());

  const auto completed = make({});
  completed->completeRequestReturningItems({NSExtensionItem()}, nullptr);
  completed->cancelRequestWithError({NSCocoaErrorDomain, NSUserCancelledError, {}});
  EXPECT_FALSE(completed->cancelError());
  ASSERT_TRUE(completed->returnedItems());
  EXPECT_THAT(*completed->returnedItems(), SizeIs(1));
}

}  // namespace
}  // namespace korvane
