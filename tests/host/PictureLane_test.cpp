#include "host/PictureLane.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/FakeShare.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

// Holds those back that it was told to hold.
class SlowImages : public testing::FakeImages {
 public:
  void hold(const std::string& name) {
    std::lock_guard lock(mutex_);
    held_.insert("picture " + name);
  }
  void release(const std::string& name) {
    std::lock_guard lock(mutex_);
    held_.erase("picture " + name);
    changed_.notify_all();
  }
  std::shared_ptr<const Bitmap> decode(const NSData& encoded, std::string* why) override {
    const std::string text(encoded.begin(), encoded.end());
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [&] { return !held_.contains(text); });
    }
    if (text.starts_with("bad")) *why = "it is bad";
    auto bitmap = FakeImages::decode(encoded, why);
    if (!bitmap) return nullptr;
    Bitmap large = *bitmap;
    large.width = static_cast<std::uint32_t>(pixels);
    return std::make_shared<Bitmap>(std::move(large));
  }
  std::optional<NSData> encode(const Bitmap& bitmap, NSBitmapImageFileType type,
                               EncodingEffort effort) override {
    std::lock_guard lock(mutex_);
    ++efforts[effort];
    return FakeImages::encode(bitmap, type, effort);
  }
  std::uint64_t pixels = 1;
  std::map<EncodingEffort, int> efforts;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::set<std::string> held_;
};

class PictureLaneTest : public ::testing::Test {
 protected:
  PictureLaneTest() {
    platform.services.images = images;
    platform.install();
  }

  void add(PictureLane& lane, const std::string& name) {
    const std::string text = name.starts_with("bad") ? name : "picture " + name;
    lane.add([text] { return Value(NSData(text.begin(), text.end())); }, keeper(name));
  }
  PictureLane::HandOver keeper(const std::string& name) {
    return [this, name](PreparedPicture& picture, const std::string& why) {
      std::lock_guard lock(mutex);
      const std::string file =
          picture.png ? std::string(picture.png->begin(), picture.png->end()) : "none: " + why;
      handed.emplace_back(name, file);
      changed.notify_all();
    };
  }
  void waitFor(std::size_t count) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return handed.size() >= count; });
  }

  std::shared_ptr<SlowImages> images = std::make_shared<SlowImages>();
  testing::SharePlatform platform;
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::pair<std::string, std::string>> handed;
};

TEST_F(PictureLaneTest, PicturesComeInTheOrderGiven) {
  images->hold("a");
  PictureLane lane;
  for (const char* name : {"a", "b", "c"}) add(lane, name);
  images->release("a");
  platform.waitUntilIdle();
  EXPECT_THAT(handed, ElementsAre(Pair("a", "PNG a"), Pair("b", "PNG b"), Pair("c", "PNG c")));
}

TEST_F(PictureLaneTest, ASlowOneIsNotWaitedForInTheEnd) {
  images->hold("a");
  PictureLane lane(std::chrono::milliseconds(0));
  for (const char* name : {"a", "b", "c"}) add(lane, name);
  waitFor(2);  // whenever that is: before "a"
  images->release("a");
  platform.waitUntilIdle();
  ASSERT_EQ(handed.size(), 3U);
  EXPECT_THAT(handed[2], Pair("a", "PNG a"));
}

// Nothing happens any more that could lead to it: the lane itself looks at the clock.
TEST_F(PictureLaneTest, WhatWasReadyBeforeTheEndIsHandedOverThen) {
  images->hold("a");
  PictureLane lane(std::chrono::milliseconds(300));
  add(lane, "a");
  add(lane, "b");
  waitFor(1);
  images->release("a");
  platform.waitUntilIdle();
  EXPECT_THAT(handed, ElementsAre(Pair("b", "PNG b"), Pair("a", "PNG a")));
}

TEST_F(PictureLaneTest, OneThatFailsIsHandedOverWithItsReasonAndKeepsNoOther) {
  PictureLane lane;
  add(lane, "bad one");
  lane.add([]() -> Value { throw std::runtime_error("it is gone"); }, keeper("gone"));
  add(lane, "c");
  lane.add([] { return Value(NSData()); },
           [](PreparedPicture&, const std::string&) { throw std::runtime_error("its own fault"); });
  add(lane, "d");
  platform.waitUntilIdle();
  EXPECT_THAT(handed,
              ElementsAre(Pair("bad one", "none: it is bad"), Pair("gone", "none: it is gone"),
                          Pair("c", "PNG c"), Pair("d", "PNG d")));
}

TEST_F(PictureLaneTest, EffortFollowsWhatIsWaiting) {
  images->pixels = 12'000'000;
  PictureLane lane;
  add(lane, "alone");
  platform.waitUntilIdle();
  EXPECT_EQ(images->efforts[EncodingEffort::thorough], 1);
  EXPECT_EQ(images->efforts[EncodingEffort::quick], 0);
  images->hold("0");
  images->hold("1");
  images->hold("2");
  images->hold("3");
  for (int i = 0; i < 20; ++i) add(lane, std::to_string(i));
  for (int i = 0; i < 4; ++i) images->release(std::to_string(i));
  platform.waitUntilIdle();
  EXPECT_EQ(images->efforts[EncodingEffort::thorough] + images->efforts[EncodingEffort::quick], 21);
  EXPECT_GE(images->efforts[EncodingEffort::quick], 13);
  EXPECT_GE(images->efforts[EncodingEffort::thorough], 2);
}

TEST_F(PictureLaneTest, WhereHalfOfTheTimeIsOverPicturesAreWrittenQuickly) {
  PictureLane lane(std::chrono::milliseconds(0));
  add(lane, "late");
  platform.waitUntilIdle();
  EXPECT_EQ(images->efforts[EncodingEffort::quick], 1);
  EXPECT_EQ(images->efforts[EncodingEffort::thorough], 0);
}

TEST_F(PictureLaneTest, SmallPicturesAreWrittenThoroughly) {
  images->pixels = 1'000'000;
  PictureLane lane;
  for (int i = 0; i < 30; ++i) add(lane, std::to_string(i));
  platform.waitUntilIdle();
  EXPECT_EQ(images->efforts[EncodingEffort::thorough], 30);
}

}  // namespace
}  // namespace korvane
