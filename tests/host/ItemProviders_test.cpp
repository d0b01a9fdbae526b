#include "host/ItemProviders.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <condition_variable>
#include <thread>

#include "tests/support/FakeShare.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

class ItemProviders : public ::testing::Test {
 protected:
  struct Loaded {
    Value item;
    std::optional<NSError> error;
    int calls = 0;
  };

  std::shared_ptr<NSItemProvider> make(ShareRequest::Attachment attachment) {
    return makeItemProvider(attachment, loads);
  }
  Loaded load(NSItemProvider& provider, const char* type) {
    Loaded loaded;
    provider.loadItemForTypeIdentifier(type,
                                       [&](const Value& item, const std::optional<NSError>& error) {
                                         loaded = {item, error, loaded.calls + 1};
                                       });
    platform.waitUntilIdle();
    EXPECT_EQ(loaded.calls, 1);
    return loaded;
  }
  static bool isURL(const NSItemProvider& provider) {
    return provider.hasItemConformingToTypeIdentifier(kUTTypeURL);
  }
  static bool isImage(const NSItemProvider& provider) {
    return provider.hasItemConformingToTypeIdentifier(kUTTypeImage);
  }

  testing::SharePlatform platform;
  testing::TemporaryFolder folder;
  std::function<std::optional<FetchedFile>(const std::string&)> fetched = [](const std::string&) {
    return std::nullopt;
  };
  std::shared_ptr<RunWatch> run = std::make_shared<RunWatch>();
  std::shared_ptr<ShareLoads> loads =
      std::make_shared<ShareLoads>(run, [this](const std::string& url) { return fetched(url); });
};

TEST_F(ItemProviders, ALinkIsAURL) {
  const auto provider = make(ShareRequest::Link{"https://a.example/ä b"});
  EXPECT_TRUE(isURL(*provider));
  EXPECT_FALSE(isImage(*provider));
  EXPECT_FALSE(provider->hasItemConformingToTypeIdentifier("public.file-url"));
  const Loaded loaded = load(*provider, kUTTypeURL);
  EXPECT_EQ(loaded.item.url().absoluteString(), "https://a.example/%C3%A4%20b");
  EXPECT_EQ(loaded.error, std::nullopt);
  EXPECT_THAT(run->namesDelivered(), ::testing::ElementsAre("https://a.example/ä b"));
}

TEST_F(ItemProviders, WhatWouldRunOrShowSomethingIsNoLink) {
  for (const char* url : {"javascript:alert(1)", "JAVASCRIPT://x/%0Aalert(1)", "\tjavascript:x",
                          "vbscript:x", "data:text/html,<script>x</script>"}) {
    EXPECT_EQ(make(ShareRequest::Link{url}), nullptr) << url;
    EXPECT_EQ(make(ShareRequest::TypedText{"public.url", url}), nullptr) << url;
  }
  for (const char* url :
       {"j&#97;vascript:alert(1)", "javascript&colon;alert(1)", "java&Tab;script:alert(1)",
        "vbscript&colon;x", "data&colon;text/html,x", "www.a.example", "//a.example/x", "/x", "?x",
        "#x", "java\tscript:x", "&#106;avascript:x"}) {
    EXPECT_EQ(make(ShareRequest::Link{url}), nullptr) << url;
    EXPECT_EQ(make(ShareRequest::TypedText{"public.url", url}), nullptr) << url;
  }
  for (const char* url : {"korvane://x", "magnet:?xt=1", "mailto:a@b.example", "javascripts:x",
                          "https://a.example/javascript:x", "database:x"}) {
    EXPECT_NE(make(ShareRequest::Link{url}), nullptr) << url;
  }
}

TEST_F(ItemProviders, AFileIsAFileURL) {
  const std::string path = folder.file("a b\xFF");
  for (const ShareRequest::Attachment& attachment : std::vector<ShareRequest::Attachment>{
           ShareRequest::File{path}, ShareRequest::Link{"file://" + path},
           ShareRequest::TypedText{"public.file-url", "file://" + path},
           ShareRequest::Link{" file:" + folder.path("a%20b%FF")}}) {
    const auto provider = make(attachment);
    EXPECT_TRUE(isURL(*provider));
    EXPECT_TRUE(provider->hasItemConformingToTypeIdentifier("public.file-url"));
    EXPECT_FALSE(isImage(*provider));
    EXPECT_EQ(load(*provider, kUTTypeURL).item.url().fileSystemRepresentation(), path);
  }
}

TEST_F(ItemProviders, AFileThatIsNotThereIsStillAFileURL) {
  const auto loaded = load(*make(ShareRequest::File{"/none/x"}), kUTTypeURL);
  EXPECT_EQ(loaded.item.url().absoluteString(), "file:///none/x");
}

TEST_F(ItemProviders, AFileOfAnotherMachineFails) {
  const auto provider = make(ShareRequest::Link{"file://other.example/etc/passwd"});
  EXPECT_TRUE(isURL(*provider));
  const Loaded loaded = load(*provider, kUTTypeURL);
  ASSERT_TRUE(loaded.error);
  EXPECT_THAT(loaded.error->description(), HasSubstr("does not name a file of this machine"));
}

TEST_F(ItemProviders, ARemoteFileIsWhereItWasFetched) {
  const std::string path = folder.file("x y");
  fetched = [&](const std::string& url) -> std::optional<FetchedFile> {
    if (url == "sftp://a.example/x y") return FetchedFile{.path = path};
    if (url == "mtp://[usb:001,006]/x") return FetchedFile{.reason = "it is locked"};
    return std::nullopt;
  };
  for (const ShareRequest::Attachment& attachment : std::vector<ShareRequest::Attachment>{
           ShareRequest::Link{"sftp://a.example/x y"},
           ShareRequest::TypedText{"public.url", "sftp://a.example/x y"}}) {
    const auto provider = make(attachment);
    EXPECT_TRUE(provider->hasItemConformingToTypeIdentifier("public.file-url"));
    EXPECT_EQ(load(*provider, kUTTypeURL).item.url().fileSystemRepresentation(), path);
  }
  const Loaded failed = load(*make(ShareRequest::Link{"mtp://[usb:001,006]/x"}), kUTTypeURL);
  ASSERT_TRUE(failed.error);
  EXPECT_THAT(failed.error->description(), HasSubstr("it is locked"));
  const MissingThing notCopied{"sftp://a.example/x y", "it could not be copied"};
  EXPECT_THAT(run->missing(),
              ::testing::ElementsAre(notCopied, notCopied,
                                     MissingThing{"mtp://[usb:001,006]/x", "it is locked"}));
  EXPECT_EQ(
      load(*make(ShareRequest::Link{"ftp://a.example/x"}), kUTTypeURL).item.url().absoluteString(),
      "ftp://a.example/x");
}

TEST_F(ItemProviders, AnImageFileIsItsBytes) {
  const auto provider = make(ShareRequest::ImageFile{folder.file("p.jpg", "picture 1")});
  EXPECT_TRUE(isImage(*provider));
  EXPECT_FALSE(isURL(*provider));
  const std::string_view bytes = "picture 1";
  EXPECT_EQ(load(*provider, kUTTypeImage).item.data(), NSData(bytes.begin(), bytes.end()));
}

TEST_F(ItemProviders, AnImageFileThatCannotBeReadFailsAtOnce) {
  const std::string pipe = folder.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {pipe, folder.path("none"), folder.path()}) {
    const Loaded loaded = load(*make(ShareRequest::ImageFile{path}), kUTTypeImage);
    ASSERT_TRUE(loaded.error) << path;
    EXPECT_THAT(loaded.error->description(), HasSubstr(path));
    EXPECT_TRUE(loaded.item.isAbsent());
  }
}

TEST_F(ItemProviders, TypedTextsAreWhatTheirTypeSays) {
  const auto url = make(ShareRequest::TypedText{"public.url", "https://a.example/"});
  EXPECT_EQ(load(*url, kUTTypeURL).item.url().absoluteString(), "https://a.example/");
  const auto drawing = make(ShareRequest::TypedText{"public.svg-image", "<svg/>"});
  EXPECT_TRUE(isImage(*drawing));
  EXPECT_TRUE(drawing->hasItemConformingToTypeIdentifier("public.svg-image"));
  EXPECT_EQ(load(*drawing, kUTTypeImage).item.data().size(), 6U);
  const auto text = make(ShareRequest::TypedText{"public.plain-text", "x"});
  EXPECT_FALSE(isURL(*text));
  EXPECT_FALSE(isImage(*text));
  EXPECT_TRUE(text->hasItemConformingToTypeIdentifier("public.text"));
  EXPECT_EQ(load(*text, "public.text").item, Value("x"));
}

TEST_F(ItemProviders, AnotherTypeThanItsOwnCannotBeLoaded) {
  const auto provider = make(ShareRequest::ImageData{{1, 2, 3}});
  EXPECT_EQ(load(*provider, kUTTypeImage).item.data(), NSData({1, 2, 3}));
  const Loaded loaded = load(*provider, kUTTypeURL);
  ASSERT_TRUE(loaded.error);
  EXPECT_THAT(loaded.error->description(), HasSubstr("public.url"));
}

TEST_F(ItemProviders, FilesAreDeliveredInTheOrderOfTheirLoads) {
  constexpr int kFiles = 2000;
  std::mutex mutex;
  std::vector<std::string> paths, loaded;
  for (int i = 0; i < kFiles; ++i) {
    paths.push_back("/none/" + std::to_string(i));
    make(ShareRequest::File{paths.back()})
        ->loadItemForTypeIdentifier(kUTTypeURL, [&](const Value& item, const auto&) {
          std::lock_guard lock(mutex);
          loaded.push_back(item.url().fileSystemRepresentation());
        });
  }
  platform.waitUntilIdle();
  EXPECT_THAT(loaded, ElementsAreArray(paths));
}

TEST_F(ItemProviders, AFileThatTakesItsTimeHoldsUpNoImage) {
  std::mutex mutex;
  std::condition_variable changed;
  bool imageDone = false;
  bool fileSawIt = false;
  make(ShareRequest::File{"/none/slow"})
      ->loadItemForTypeIdentifier(kUTTypeURL, [&](const Value&, const auto&) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return imageDone; });
        fileSawIt = true;
      });
  make(ShareRequest::ImageData{{1}})
      ->loadItemForTypeIdentifier(kUTTypeImage, [&](const Value&, const auto&) {
        std::lock_guard lock(mutex);
        imageDone = true;
        changed.notify_all();
      });
  platform.waitUntilIdle();
  EXPECT_TRUE(fileSawIt);
}

// Decodes nothing before it may.
class HeldImages : public testing::FakeImages {
 public:
  void release() {
    std::lock_guard lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }
  std::shared_ptr<const Bitmap> decode(const NSData& encoded, std::string* why) override {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return released_; });
    return FakeImages::decode(encoded, why);
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool released_ = false;
};

TEST_F(ItemProviders, PicturesThatTakeTheirTimeHoldUpNoFile) {
  const auto images = std::make_shared<HeldImages>();
  platform.services.images = images;
  platform.install();
  std::mutex mutex;
  std::condition_variable changed;
  bool fileDone = false;
  int picturesDone = 0;
  for (int i = 0; i < 30; ++i) {
    make(ShareRequest::TypedText{"public.png", "picture a"})
        ->loadItemForTypeIdentifier(kUTTypeImage, [&](const Value&, const auto&) {
          std::lock_guard lock(mutex);
          ++picturesDone;
        });
  }
  const std::string path = folder.file("contract.pdf", "four");
  make(ShareRequest::File{path})
      ->loadItemForTypeIdentifier(kUTTypeURL, [&](const Value&, const auto&) {
        std::lock_guard lock(mutex);
        fileDone = true;
        changed.notify_all();
      });
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return fileDone; });
    EXPECT_EQ(picturesDone, 0);
  }
  images->release();
  platform.waitUntilIdle();
  EXPECT_EQ(picturesDone, 30);
}

}  // namespace
}  // namespace korvane
