#include "host/FetchedFiles.h"

#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "tests/support/FakeShare.h"
#include "tests/support/Gate.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using testing::Gate;
using ::testing::IsEmpty;
using ::testing::Le;
using ::testing::StartsWith;

class FetchedFilesTest : public ::testing::Test {
 protected:
  FetchedFilesTest() { takeTime(); }
  ~FetchedFilesTest() override {
    while (run->isBusy()) std::this_thread::yield();  // threads that were given up
  }

  /// Waits by the system's clock: what is fetched comes soon.
  void takeTime() {
    platform.services.clock = std::make_shared<SystemClock>();
    platform.install();
  }
  /// Waits by a clock of its own, which takes no time.
  void takeNoTime() {
    platform.services.clock = platform.clock;
    platform.install();
  }

  FetchedFiles fetch(std::vector<ShareRequest::Attachment> attachments) {
    ShareRequest request;
    request.items.resize(1);
    request.items[0].attachments = std::move(attachments);
    return {request, options, run};
  }
  static std::string reasonOf(const FetchedFiles& files, const std::string& url) {
    const auto file = files.find(url);
    if (!file) return "a link";
    return file->path.empty() ? file->reason : "fetched";
  }

  testing::SharePlatform platform;
  testing::TemporaryFolder place;
  ShareOptions options{.container = place.path("container")};
  std::shared_ptr<RunWatch> run = std::make_shared<RunWatch>();
};

using ShareLink = ShareRequest::Link;

TEST_F(FetchedFilesTest, OnlyWhatMayBeAFileIsFetchedOnce) {
  std::vector<std::string> asked;
  options.fetch = [&](const std::string& url, const FetchRules& rules, const FetchStop&) {
    asked.push_back(url);
    return rules.folder + "/x";
  };
  const FetchedFiles files = fetch(
      {ShareLink{"https://a.example/"}, ShareLink{"mailto:a@b.example"}, ShareLink{"/etc/passwd"},
       ShareLink{"file:///etc/passwd"}, ShareLink{"javascript:x"}, ShareLink{"data:text/html,x"},
       ShareLink{" SFTP://a.example/x y\n"}, ShareLink{"mtp://[usb:001,006]/x"},
       ShareLink{"SFTP://a.example/x y"}, ShareRequest::TypedText{"public.url", "trash:///x"},
       ShareRequest::TypedText{"public.plain-text", "trash:///y"}, ShareRequest::File{"smb:"}});
  EXPECT_THAT(asked, ElementsAre("SFTP://a.example/x y", "mtp://[usb:001,006]/x", "trash:///x"));
  EXPECT_EQ(reasonOf(files, "\tSFTP://a.example/x y"), "fetched");
  EXPECT_EQ(reasonOf(files, "https://a.example/"), "a link");
  EXPECT_EQ(reasonOf(files, "trash:///y"), "a link");
}

TEST_F(FetchedFilesTest, EachHasAPrivateFolderThatGoesAgain) {
  std::vector<std::string> folders;
  options.fetch = [&](const std::string&, const FetchRules& rules, const FetchStop&) {
    EXPECT_TRUE(fs::is_empty(rules.folder));
    EXPECT_EQ(fs::status(rules.folder).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::path(rules.folder).parent_path().parent_path(), place.path());
    folders.push_back(rules.folder);
    return place.file(rules.folder.substr(place.path().size() + 1) + "/same.txt", "x");
  };
  {
    const FetchedFiles files = fetch({ShareLink{"sftp://a/1"}, ShareLink{"sftp://a/2"}});
    EXPECT_EQ(files.find("sftp://a/1")->path, folders.at(0) + "/same.txt");
    EXPECT_EQ(files.find("sftp://a/2")->path, folders.at(1) + "/same.txt");
    EXPECT_NE(folders[0], folders[1]);
    EXPECT_TRUE(fs::exists(files.find("sftp://a/2")->path));
  }
  EXPECT_TRUE(fs::is_empty(place.path()));
}

TEST_F(FetchedFilesTest, WhatFailsHasItsReason) {
  options.fetch = [](const std::string& url, const FetchRules&, const FetchStop&) -> std::string {
    if (url == "smb://a/1") throw FetchFailure("there is no such file");
    if (url == "smb://a/2") throw std::bad_alloc();
    if (url == "smb://a/3") throw std::runtime_error("a surprise");
    throw FetchFailure("it is a link", true);
  };
  const FetchedFiles files = fetch({ShareLink{"smb://a/1"}, ShareLink{"smb://a/2"},
                                    ShareLink{"smb://a/3"}, ShareLink{"unknown:x"}});
  EXPECT_EQ(reasonOf(files, "smb://a/1"), "there is no such file");
  EXPECT_EQ(reasonOf(files, "smb://a/2"), "there is not enough memory for it");
  EXPECT_EQ(reasonOf(files, "smb://a/3"), "a surprise");
  EXPECT_EQ(reasonOf(files, "unknown:x"), "a link");
}

TEST_F(FetchedFilesTest, WithoutAPlaceForThemNothingIsFetched) {
  options.fetch = [](const auto&, const auto&, const auto&) -> std::string {
    ADD_FAILURE();
    return "";
  };
  options.container = std::nullopt;
  EXPECT_EQ(reasonOf(fetch({ShareLink{"smb://a/1"}}), "smb://a/1"),
            "there is no container for attachments");
  options.container = place.file("file") + "/container";
  EXPECT_THAT(reasonOf(fetch({ShareLink{"smb://a/1"}}), "smb://a/1"),
              StartsWith("there is no folder to fetch it into: "));
}

TEST_F(FetchedFilesTest, WhatOfAFolderIsLeftOutIsMissing) {
  options.fetch = [](const std::string& url, const FetchRules& rules, const FetchStop&) {
    rules.leftOut("sub/film.mp4", "it may not be read");
    if (url == "smb://a/2") throw FetchFailure("it was lost after all");
    return rules.folder + "/x";
  };
  fetch({ShareLink{"smb://a/1/"}, ShareLink{"smb://a/2"}});
  EXPECT_THAT(run->missing(),
              ElementsAre(MissingThing{"smb://a/1/sub/film.mp4", "it may not be read"}));
}

TEST_F(FetchedFilesTest, SilenceEndsAFetchAndSoonAllOfThatServer) {
  takeNoTime();
  const auto gate = std::make_shared<Gate>();
  std::mutex mutex;
  std::vector<std::string> asked;
  options.fetch = [&, gate](const std::string& url, const FetchRules& rules, const FetchStop&) {
    {
      const std::lock_guard lock(mutex);
      asked.push_back(url);
    }
    gate->wait();
    return rules.folder + "/x";
  };
  {
    const FetchedFiles files =
        fetch({ShareLink{"sftp://a/1"}, ShareLink{"sftp://a/2"}, ShareLink{"sftp://a/3"}});
    EXPECT_EQ(reasonOf(files, "sftp://a/1"), "nothing came for 30 seconds");
    EXPECT_EQ(reasonOf(files, "sftp://a/2"), "nothing came for 5 seconds");
    EXPECT_EQ(reasonOf(files, "sftp://a/3"), "its server does not answer");
    EXPECT_TRUE(run->isBusy());
    options.longestSilence = 1;
    EXPECT_EQ(reasonOf(fetch({ShareLink{"sftp://b/1"}}), "sftp://b/1"),
              "nothing came for 1 second");
  }
  double slept = 0;
  for (const double seconds : platform.clock->sleeps()) slept += seconds;
  EXPECT_GE(slept, 36);
  EXPECT_LT(slept, 38);
  EXPECT_TRUE(fs::is_empty(place.path()));
  gate->open();
  while (run->isBusy()) std::this_thread::yield();
  EXPECT_THAT(asked, ::testing::Not(::testing::Contains("sftp://a/3")));
}

TEST_F(FetchedFilesTest, OneSilentFileKeepsNoOtherOfItsServer) {
  takeNoTime();
  std::atomic<const FetchStop*> first{};
  std::atomic<bool> isSecondsTurn{};
  platform.clock->onSleep = [&] {
    while (!first) std::this_thread::yield();
    if (!isSecondsTurn && first.load()->isStopped()) isSecondsTurn = true;
    while (isSecondsTurn && run->isBusy()) std::this_thread::yield();
  };
  options.fetch = [&](const std::string& url, const FetchRules& rules, const FetchStop& stop) {
    if (url == "sftp://a/1") {
      first = &stop;
      while (!stop.isStopped()) std::this_thread::yield();
      throw FetchFailure("it was stopped");
    }
    return rules.folder + "/x";
  };
  const FetchedFiles files = fetch({ShareLink{"sftp://a/1"}, ShareLink{"sftp://a/2"}});
  EXPECT_EQ(reasonOf(files, "sftp://a/1"), "nothing came for 30 seconds");
  EXPECT_EQ(reasonOf(files, "sftp://a/2"), "fetched");
}

TEST_F(FetchedFilesTest, AFetchMayTakeAsLongAsSomethingComes) {
  takeNoTime();
  std::mutex mutex;
  std::condition_variable changed;
  int wanted = 0;
  std::atomic<int> given = 0;
  platform.clock->onSleep = [&] {  // a byte comes in every pause
    {
      std::unique_lock lock(mutex);
      ++wanted;
      changed.notify_all();
      changed.wait(lock, [&] { return given == wanted || given == 2000; });
    }
    while (given == 2000 && run->isBusy()) std::this_thread::yield();
  };
  options.fetch = [&](const std::string&, const FetchRules& rules, const FetchStop&) {
    std::unique_lock lock(mutex);
    while (given < 2000) {
      changed.wait(lock, [&] { return wanted > given; });
      rules.came(1);
      ++given;
      changed.notify_all();
    }
    return rules.folder + "/x";
  };
  EXPECT_EQ(reasonOf(fetch({ShareLink{"sftp://a/1"}}), "sftp://a/1"), "fetched");
}

TEST_F(FetchedFilesTest, CancellingEndsAllOfIt) {
  options.hooks.cancellation = std::make_shared<Cancellation>();
  std::vector<std::string> asked;
  options.fetch = [&](const std::string& url, const FetchRules& rules,
                      const FetchStop& stop) -> std::string {
    asked.push_back(url);
    if (url == "sftp://a/1") return rules.folder + "/x";
    options.hooks.cancellation->cancel();
    while (!stop.isStopped()) std::this_thread::yield();
    throw FetchFailure("it was stopped");
  };
  const FetchedFiles files =
      fetch({ShareLink{"sftp://a/1"}, ShareLink{"sftp://a/2"}, ShareLink{"sftp://a/3"}});
  EXPECT_EQ(reasonOf(files, "sftp://a/2"), kCancelled);
  EXPECT_EQ(reasonOf(files, "sftp://a/3"), kCancelled);
  EXPECT_THAT(asked, ElementsAre("sftp://a/1", "sftp://a/2"));
}

TEST_F(FetchedFilesTest, ProgressHasTheNameAndThePart) {
  std::vector<std::string> texts;
  std::vector<double> parts;
  std::mutex mutex;
  std::condition_variable told;
  options.hooks.progress = [&](const std::string& text, double part) {
    const std::lock_guard lock(mutex);
    if (texts.empty() || texts.back() != text) texts.push_back(text);
    parts.push_back(part);
    told.notify_all();
  };
  const auto waitForPart = [&](double part) {
    std::unique_lock lock(mutex);
    told.wait(lock, [&] { return std::ranges::find(parts, part) != parts.end(); });
  };
  options.fetch = [&](const std::string& url, const FetchRules& rules, const FetchStop&) {
    if (url == "sftp://a/film") {
      rules.found("Film.mp4", 100);
      rules.came(50);
      waitForPart(0.25);
    } else if (url == "sftp://a/folder") {
      rules.found("Photos", std::nullopt);
      rules.came(50);
      waitForPart(-1);
    }
    return rules.folder + "/x";
  };
  fetch({ShareLink{"sftp://a/film"}, ShareLink{"sftp://a/other"}});
  EXPECT_THAT(texts, ::testing::IsSupersetOf(
                         {"Fetching Film.mp4 (1 of 2)…", "Fetching sftp://a/other (2 of 2)…"}));
  EXPECT_THAT(parts, Each(AllOf(::testing::Ge(0), Le(1))));
  EXPECT_TRUE(std::ranges::is_sorted(parts));
  EXPECT_EQ(parts.back(), 1);
  texts.clear();
  parts.clear();
  fetch({ShareLink{"sftp://a/folder"}});
  EXPECT_THAT(texts, ::testing::Contains("Fetching Photos…"));
  EXPECT_LE(parts.size(), 3U);  // only what has changed
}

}  // namespace
}  // namespace korvane
