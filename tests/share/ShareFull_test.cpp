#include "share/detail/ShareFull.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/FakeShare.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct ShareFullTest : ::testing::Test {
  testing::SharePlatform platform;
};

TEST_F(ShareFullTest, AnExtractionErrorIsOneLine) {
  const auto message = std::make_shared<ExtensionMessage>();
  const NSError error{NSPOSIXErrorDomain, 5, "Input/output error"};
  for (const auto& extracted : {message, std::shared_ptr<ExtensionMessage>()}) {
    shareFull(extracted, error);
    EXPECT_THAT(platform.log->lines(),
                ElementsAre("[***ERROR***] ShareFull " + error.description()));
    platform.log->clear();
  }
  EXPECT_THAT(platform.workspace->requests(), IsEmpty());
}

TEST_F(ShareFullTest, NoMessageIsSilent) {
  shareFull(nullptr, std::nullopt);
  EXPECT_THAT(platform.workspace->requests(), IsEmpty());
  EXPECT_THAT(platform.log->lines(), IsEmpty());
}

TEST_F(ShareFullTest, AMessageThatCannotBeWrittenIsOneLine) {
  const auto message = std::make_shared<ExtensionMessage>();
  message->setSubject(Value(1));  // has no length
  shareFull(message, std::nullopt);
  EXPECT_THAT(platform.log->lines(),
              ElementsAre(::testing::StartsWith("[***ERROR***] ShareFull ")));
  EXPECT_THAT(platform.workspace->requests(), IsEmpty());
}

}  // namespace
}  // namespace korvane
