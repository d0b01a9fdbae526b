#include "platform/NSViewController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/TestPlatform.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Controller : NSViewController {
  std::string nibName() const override { return "Some"; }
  void viewDidLoad() override {
    NSViewController::viewDidLoad();
    ++didLoad;
  }
  int didLoad = 0;
};

TEST(NSViewController, LoadsItsInterfaceThroughTheMainBundle) {
  testing::TestPlatform platform;
  std::vector<std::string> names;
  platform.bundle->onLoadNib = [&](std::string_view name) { names.emplace_back(name); };
  Controller controller;
  controller.loadView();
  EXPECT_THAT(names, ElementsAre("Some"));
  EXPECT_EQ(controller.didLoad, 0);
  EXPECT_THAT(platform.log->lines(), IsEmpty());
}

TEST(NSViewController, TheViewIsLoadedOnce) {
  testing::TestPlatform platform;
  std::vector<std::string> names;
  platform.bundle->onLoadNib = [&](std::string_view name) { names.emplace_back(name); };
  Controller controller;
  controller.loadViewIfNeeded();
  controller.loadViewIfNeeded();
  EXPECT_THAT(names, ElementsAre("Some"));
  EXPECT_EQ(controller.didLoad, 1);
}

TEST(NSViewController, AMissingInterfaceIsLogged) {
  struct NoNibs : EmptyBundle {
    bool loadNibNamed(std::string_view) override { return false; }
  };
  testing::TestPlatform platform;
  platform.services.bundle = std::make_shared<NoNibs>();
  platform.install();
  Controller().loadView();
  EXPECT_THAT(platform.log->lines(),
              ElementsAre("[***ERROR***] loadView Some has no interface description"));
}

TEST(NSViewController, HasTheContextThatWasSet) {
  struct Context : NSExtensionContext {
    const std::vector<NSExtensionItem>& inputItems() const override { return items; }
    void completeRequestReturningItems(std::vector<NSExtensionItem>,
                                       std::function<void(bool)>) override {}
    void cancelRequestWithError(const NSError&) override {}
    std::vector<NSExtensionItem> items;
  };
  Controller controller;
  EXPECT_EQ(controller.extensionContext(), nullptr);
  const auto context = std::make_shared<Context>();
  controller.setExtensionContext(context);
  EXPECT_EQ(controller.extensionContext(), context);
}

}  // namespace
}  // namespace korvane
