#include "linux/detail/RemoteFiles.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <utime.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <map>
#include <thread>
#include <vector>

#include "tests/support/RemotePlaces.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::modeOf;
using ::testing::Pair;
using testing::readFile;
using ::testing::StartsWith;
using testing::writeFile;

TEST(RemoteFileSchemes, AreFilesLinksOrEither) {
  for (const char* scheme : {"sftp", "smb", "SMB", "mtp", "trash", "dav", "davs", "dav+sd", "afp",
                             "google-drive", "recent", "nfs", "gphoto2", "admin", "fish"}) {
    EXPECT_EQ(schemeKind(scheme), SchemeKind::file) << scheme;
  }
  for (const char* scheme : {"http", "https", "HTTPS", "mailto", "tel", "magnet", "xmpp", "geo"}) {
    EXPECT_EQ(schemeKind(scheme), SchemeKind::link) << scheme;
  }
  for (const char* scheme : {"ftp", "ftps", "sft", "sftpx", "x", ""}) {
    EXPECT_EQ(schemeKind(scheme), SchemeKind::either) << scheme;
  }
}

/// The desktop of all tests here: a process chooses its file services once.
struct Desktop {
  Desktop() {
    places.trash("report.txt", "report.txt", "one");
    places.trash("report.2.txt", "report.txt", "two");
    places.trash("caf\xE9.txt", "caf%E9.txt", "three");
    // What was used recently is looked up once.
    writeFile(used, "x");
    writeFile(desktop.folder / "data/recently-used.xbel",
              R"(<?xml version="1.0"?><xbel version="1.0"
 xmlns:bookmark="http://www.freedesktop.org/standards/desktop-bookmarks"
 xmlns:mime="http://www.freedesktop.org/standards/shared-mime-info"><bookmark href="file://)" +
                  desktop.folder.string() +
                  R"(/used%20&amp;%20seen.txt" added="2026-01-01T00:00:00Z"
 modified="2026-01-01T00:00:00Z" visited="2026-01-01T00:00:00Z"><info><metadata
 owner="http://freedesktop.org"><mime:mime-type type="text/plain"/><bookmark:applications>
<bookmark:application name="a" exec="a" modified="2026-01-01T00:00:00Z" count="1"/>
</bookmark:applications></metadata></info></bookmark></xbel>)");
  }
  testing::PrivateDesktop desktop;
  const std::string used = desktop.folder / "used & seen.txt";
  testing::RemotePlaces places{desktop};
  std::string url = places.mountServer();
};

class RemoteFiles : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!testing::RemotePlaces::areThere(lacking)) return;
    shared = new Desktop;
    for (const std::string& variable : shared->desktop.environment) {
      const std::size_t equals = variable.find('=');
      ::setenv(variable.substr(0, equals).c_str(), variable.c_str() + equals + 1, 1);
    }
  }
  static void TearDownTestSuite() { delete std::exchange(shared, nullptr); }
  void SetUp() override {
    if (!shared) GTEST_SKIP() << "not installed: " << lacking;
  }

  static std::string url(const std::string& path) { return shared->url + "/" + path; }
  /// Makes a file on the server.
  static fs::path serve(const std::string& path, std::string_view content) {
    const fs::path file = shared->places.served() / path;
    fs::create_directories(file.parent_path());
    writeFile(file, content);
    return file;
  }

  /// The path, without that of the folder.
  std::string fetch(const std::string& from) {
    rules.folder = folder.folder(std::to_string(++count));
    rules.leftOut = [this](const std::string& path, const std::string& reason) {
      leftOut[path] = reason;
    };
    const std::string path = fetchRemoteFile(from, rules, stop);
    return path.starts_with(rules.folder + "/") ? path.substr(rules.folder.size() + 1) : path;
  }
  std::string fetched(const std::string& name) const { return rules.folder + "/" + name; }
  std::string failureOf(const std::string& from) {
    try {
      return "fetched: " + fetch(from);
    } catch (const FetchFailure& failure) {
      return std::string(failure.isLink() ? "link: " : "") + failure.what();
    }
  }
  static inline Desktop* shared = nullptr;
  static inline std::string lacking;
  testing::TemporaryFolder folder;
  int count = 0;
  FetchRules rules;
  FetchStop stop;
  std::map<std::string, std::string> leftOut;
};

TEST_F(RemoteFiles, AFileIsFetchedWithItsTimeForTheUserAlone) {
  const fs::path file = serve("notes/a b.txt", std::string(700'000, 'x'));
  fs::permissions(file, fs::perms::all);
  const utimbuf time{1'000'000'000, 1'000'000'000};
  ASSERT_EQ(::utime(file.c_str(), &time), 0);
  std::vector<std::string> found;
  std::size_t bytes = 0;
  rules.found = [&](const std::string& name, std::optional<std::uint64_t> size) {
    found.push_back(name + " " + std::to_string(size.value_or(0)));
  };
  rules.came = [&](std::size_t more) { bytes += more; };
  EXPECT_EQ(fetch(url("notes/a%20b.txt")), "a b.txt");
  EXPECT_EQ(readFile(fetched("a b.txt")), std::string(700'000, 'x'));
  EXPECT_THAT(found, ElementsAre("a b.txt 700000"));
  EXPECT_EQ(bytes, 700'000U);
  EXPECT_EQ(modeOf(fetched("a b.txt")), 0600U);
  struct stat status = {};
  ASSERT_EQ(::stat(fetched("a b.txt").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtime, 1'000'000'000);
}

TEST_F(RemoteFiles, AnEmptyFileIsFetched) {
  serve("empty", "");
  EXPECT_EQ(fetch(url("empty")), "empty");
  EXPECT_EQ(readFile(fetched("empty")), "");
}

TEST_F(RemoteFiles, NamesAreThoseThatAreShownAsOneComponent) {
  struct Case {
    const char* served;
    const char* url;
    const char* shown;  // by the server
    const char* expected;
  };
  for (const Case& each : std::initializer_list<Case>{
           {"caf\xE9.txt", "caf%E9.txt", nullptr, "caf\xE9.txt"},
           {"gr\u00FC\u00DF & $HOME 100%.txt", "gr%C3%BC%C3%9F%20&%20$HOME%20100%25.txt", nullptr,
            "gr\u00FC\u00DF & $HOME 100%.txt"},
           {"-rf", "-rf", nullptr, "-rf"},
           {"q1.pdf", "q1.pdf", "Report of spring.pdf", "Report of spring.pdf"},
           {"q2.pdf", "q2.pdf", "Report of summer", "q2.pdf"},
           {"up1.txt", "up1.txt", "../../up.txt", "up1.txt"},
           {"up2", "up2", "..", "up2"},
           {"up3.txt", "up3.txt", "/etc/passwd.txt", "up3.txt"},
       }) {
    serve(each.served, each.expected);
    if (each.shown) serve(std::string(each.served) + ".displayname", each.shown);
    EXPECT_EQ(fetch(url(each.url)), each.expected);
    EXPECT_EQ(readFile(fetched(each.expected)), each.expected);
  }
}

TEST_F(RemoteFiles, AFolderIsFetchedWithAllThatCanBe) {
  serve("trip/one.txt", "1");
  serve("trip/caf\xE9/two.txt", "2");
  serve("trip/caf\xE9/.hidden", "3");
  serve("trip/same.txt", "4");
  serve("trip/other.txt", "5");
  serve("trip/other.txt.displayname", "same.txt");
  serve("trip/broken-film.mp4", std::string(300'000, 'x'));
  fs::create_directories(shared->places.served() / "trip/empty");
  EXPECT_EQ(fetch(url("trip")), "trip");
  EXPECT_EQ(readFile(fetched("trip/one.txt")), "1");
  EXPECT_EQ(readFile(fetched("trip/caf\xE9/two.txt")), "2");
  EXPECT_EQ(readFile(fetched("trip/caf\xE9/.hidden")), "3");
  EXPECT_EQ(readFile(fetched("trip/same.txt")), "5");
  EXPECT_EQ(readFile(fetched("trip/same_1.txt")), "4");
  EXPECT_TRUE(fs::is_empty(fetched("trip/empty")));
  EXPECT_FALSE(fs::exists(fetched("trip/broken-film.mp4")));
  EXPECT_EQ(modeOf(fetched("trip/caf\xE9")), 0700U);
  EXPECT_EQ(modeOf(fetched("trip/caf\xE9/two.txt")), 0600U);
  EXPECT_THAT(leftOut,
              ElementsAre(Pair("broken-film.mp4", AnyOf(StartsWith("it could not be read: "),
                                                        "it ended after 150000 of 300000 bytes"))));
}

TEST_F(RemoteFiles, AFolderHasItsBounds) {
  for (int i = 0; i < 5; ++i) serve("many/" + std::to_string(i), "x");
  serve("deep/1/2/3/4", "x");
  rules.maxEntries = 5;
  EXPECT_EQ(fetch(url("many")), "many");
  serve("many/sub/6", "x");
  EXPECT_EQ(failureOf(url("many")), "it holds more than 5 files and folders");
  rules.maximumDepth = 2;
  EXPECT_EQ(fetch(url("deep")), "deep");
  EXPECT_THAT(leftOut, ElementsAre(Pair("1/2/3", "it lies too deep")));
}

TEST_F(RemoteFiles, AFileThatHoldsFarMoreThanItSaysIsGivenUp) {
  serve("large", std::string(300'000, 'x'));
  rules.maximumUnannounced = 0;
  EXPECT_EQ(fetch(url("large")), "large");
  serve("empty at first", "");
  rules.maximumUnannounced = 100;
  rules.found = [&](const auto&, const auto&) { serve("empty at first", std::string(200, 'x')); };
  EXPECT_EQ(failureOf(url("empty%20at%20first")), "it is far larger than it says");
  EXPECT_TRUE(fs::is_empty(rules.folder));
}

TEST_F(RemoteFiles, NothingIsLeftOfAFileThatEndsEarly) {
  serve("broken-a.bin", std::string(300'000, 'x'));
  EXPECT_THAT(failureOf(url("broken-a.bin")),
              AnyOf(StartsWith("it could not be read: "), "it ended after 150000 of 300000 bytes"));
  EXPECT_TRUE(fs::is_empty(rules.folder));
}

TEST_F(RemoteFiles, AFetchEndsWhenItIsStopped) {
  serve("silent-a.bin", std::string(300'000, 'x'));
  std::size_t bytes = 0;
  std::thread stopping;
  rules.came = [&](std::size_t more) {
    bytes += more;
    if (bytes < 150'000) return;
    stopping = std::thread([&] {
      stop.stop();
      shared->places.stopServer();  // until then the service keeps its client waiting
    });
  };
  EXPECT_EQ(failureOf(url("silent-a.bin")), "it was stopped");
  ASSERT_TRUE(stopping.joinable());
  stopping.join();
  shared->url = shared->places.mountServer();
  EXPECT_TRUE(fs::is_empty(rules.folder));
  serve("a.bin", "x");
  EXPECT_EQ(failureOf(url("a.bin")), "it was stopped");
}

TEST_F(RemoteFiles, WhatCannotBeReadHasItsReason) {
  EXPECT_EQ(failureOf(url("none")), "there is no such file");
  for (const char* unmounted : {"sftp://a.example/x", "smb://a.example/share/x",
                                "dav://127.0.0.1:1/x", "mtp://[usb:001,006]/x"}) {
    EXPECT_EQ(failureOf(unmounted), "its place is not mounted; open it in the file manager first")
        << unmounted;
  }
  EXPECT_EQ(failureOf("fish://a.example/x"), "nothing here can read files of \"fish:\"");
  for (const char* link : {"ftp://a.example/x", "korvane://compose", "x:y"}) {
    EXPECT_THAT(failureOf(link), StartsWith("link: ")) << link;
  }
  EXPECT_EQ(failureOf(std::string("sftp://a\0b", 10)), "it is not a URL");
  EXPECT_EQ(failureOf("trash:///none"), "there is no such file");
  EXPECT_EQ(failureOf("recent:///none"), "there is no such file");
}

TEST_F(RemoteFiles, LinksAreFollowedInTheirPlaceOnlyAndInFoldersNot) {
  const std::string made = folder.path("archive");
  folder.file("archive/t/run.sh", "run");
  fs::permissions(folder.path("archive/t/run.sh"), fs::perms::all);
  fs::create_symlink("run.sh", folder.path("archive/t/link"));
  fs::create_symlink("link", folder.path("archive/t/second"));
  fs::create_symlink("/etc/passwd", folder.path("archive/t/outside"));
  fs::create_symlink("round", folder.path("archive/t/round"));
  ASSERT_EQ(::mkfifo(folder.path("archive/t/pipe").c_str(), 0600), 0);
  const std::string tar = folder.path("a.tar");
  ASSERT_EQ(shared->desktop.run({"tar", "-C", made, "-cf", tar, "t"}).status, 0);
  const auto escaped = [](std::string_view text) {
    std::string out;
    for (const char c : text)
      out += c == ':' ? "%3A" : c == '/' ? "%2F" : c == '%' ? "%25" : std::string(1, c);
    return out;
  };
  const std::string place = "archive://" + escaped(escaped("file://" + tar));
  const testing::Finished mounted = shared->desktop.run({"gio", "mount", "-a", place + "/"});
  ASSERT_EQ(mounted.status, 0) << mounted.errors;
  EXPECT_EQ(fetch(place + "/t/second"), "second");
  EXPECT_EQ(readFile(fetched("second")), "run");
  EXPECT_EQ(modeOf(fetched("second")), 0600U);
  EXPECT_EQ(failureOf(place + "/t/outside"), "there is no such file");
  EXPECT_EQ(failureOf(place + "/t/round"), "it is a link that leads nowhere");
  EXPECT_EQ(failureOf(place + "/t/pipe"), "neither a file nor a folder");
  EXPECT_EQ(fetch(place + "/t"), "t");
  EXPECT_EQ(modeOf(fetched("t/run.sh")), 0600U);
  const char* link = "a link in it is not followed";
  EXPECT_THAT(leftOut, ElementsAre(Pair("link", link), Pair("outside", link),
                                   Pair("pipe", "neither a file nor a folder"), Pair("round", link),
                                   Pair("second", link)));
}

TEST_F(RemoteFiles, WhatLiesInTheTrashHasTheNameThatItHad) {
  const fs::path files = shared->desktop.folder / "data/Trash/files";
  EXPECT_EQ(fetch("trash:///report.txt"), files / "report.txt");
  EXPECT_EQ(fetch("trash:///report.2.txt"), "report.txt");
  EXPECT_EQ(readFile(fetched("report.txt")), "two");
  EXPECT_EQ(fetch("trash:///caf%E9.txt"), files / "caf\xE9.txt");
}

TEST_F(RemoteFiles, WhatWasUsedRecentlyIsTheFileItself) {
  const testing::Finished listed = shared->desktop.run({"gio", "list", "-u", "recent:///"});
  ASSERT_THAT(listed.output, StartsWith("recent:///"));
  EXPECT_EQ(fetch(listed.output.substr(0, listed.output.find('\n'))), shared->used);
}

TEST_F(RemoteFiles, AServerThatWentAwayIsTold) {
  serve("gone.txt", "x");
  shared->places.stopServer();
  EXPECT_THAT(failureOf(url("gone.txt")), StartsWith("it could not be read: "));
  shared->url = shared->places.mountServer();
}

}  // namespace
}  // namespace korvane
