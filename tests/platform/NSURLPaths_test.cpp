#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <set>

#include "platform/NSURL.h"
#include "support/SlowURL.h"
#include "support/TestPlatform.h"

// File URLs, and what is added to the paths of URLs.
namespace korvane {
namespace {

using testing::partsOf;

NSURL url(std::string_view text) { return NSURL::URLWithString(text).value(); }

// Files of which only the folders are known.
class KnownFolders : public NSFileManager {
 public:
  explicit KnownFolders(std::set<std::string> folders) : folders_(std::move(folders)) {}
  bool directoryExistsAtPath(std::string_view path) override {
    return folders_.contains(std::string(path));
  }
  bool fileExistsAtPath(std::string_view path) override { return directoryExistsAtPath(path); }
  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
      std::string_view) override {
    return std::nullopt;
  }
  bool removeItemAtURL(const NSURL&, std::optional<NSError>&) override { return false; }
  bool createDirectoryAtURL(const NSURL&, bool, std::optional<NSError>&) override { return false; }
  bool copyItemAtPath(std::string_view, std::string_view, std::optional<NSError>&) override {
    return false;
  }
  bool writeDataAtomically(const NSData&, std::string_view, std::optional<NSError>&) override {
    return false;
  }

 private:
  std::set<std::string> folders_;
};

TEST(NSURL, FileURLs) {
  const std::string here = std::filesystem::current_path().native();
  testing::TestPlatform platform;
  platform.services.fileManager = std::make_shared<KnownFolders>(
      std::set<std::string>{"/", "/folder", "/fol der é", here + "/sub"});
  platform.install();
  const struct {
    std::string path;
    std::string text;
    std::string representation;
  } rows[] = {
      {"/", "file:///", "/"},
      {"/a", "file:///a", "/a"},
      {"/a/", "file:///a/", "/a"},
      {"/folder", "file:///folder/", "/folder"},
      {"/folder/", "file:///folder/", "/folder"},
      {"/fol der é", "file:///fol%20der%20%C3%A9/", "/fol der é"},
      {"/a;b?c#d%e[f]", "file:///a%3Bb%3Fc%23d%25e%5Bf%5D", "/a;b?c#d%e[f]"},
      {"/\xFF\x01\n", "file:///%FF%01%0A", "/\xFF\x01\n"},
      {"/a:b@c!$&'()*+,=~-._", "file:///a:b@c!$&'()*+,=~-._", "/a:b@c!$&'()*+,=~-._"},
      {"//a", "file:////a", "//a"},
  };
  for (const auto& row : rows) {
    const NSURL file = NSURL::fileURLWithPath(row.path);
    EXPECT_EQ(file.absoluteString(), row.text);
    EXPECT_EQ(file.fileSystemRepresentation(), row.representation);
    EXPECT_TRUE(file.isFileURL());
    EXPECT_EQ(file.host(), std::nullopt);
    EXPECT_EQ(NSURL::URLWithString(row.text), file);
    if (isUTF8(row.path)) {
      EXPECT_EQ(file.path(), row.representation);
    } else {
      EXPECT_EQ(file.path(), std::nullopt);
    }
  }
  // From the working directory.
  EXPECT_EQ(NSURL::fileURLWithPath("x y").fileSystemRepresentation(), here + "/x y");
  EXPECT_EQ(NSURL::fileURLWithPath("~").fileSystemRepresentation(), here + "/~");
  EXPECT_TRUE(NSURL::fileURLWithPath("sub").absoluteString().ends_with("/sub/"));
  EXPECT_EQ(NSURL::fileURLWithPath("").fileSystemRepresentation(), here);
}

TEST(NSURL, AnyPathSurvivesAFileURL) {
  std::mt19937 random(9);
  for (int round = 0; round < 2000; ++round) {
    std::string path = "/";
    for (std::size_t n = random() % 30; n > 0; --n) path += static_cast<char>(1 + random() % 255);
    if (path.ends_with('/')) path += 'x';
    ASSERT_EQ(NSURL::fileURLWithPath(path).fileSystemRepresentation(), path);
  }
}

TEST(NSURL, FileSystemRepresentation) {
  const std::pair<const char*, const char*> rows[] = {
      {"file:///a;b/c", "/a;b/c"},  // parameters are part of the name
      {"file:///a%3Bb", "/a;b"},   {"file://host/a/", "/a"}, {"file:///%FF", "/\xFF"},
      {"file://host", ""},         {"mailto:a@b", ""},       {"a/b?c#d", "a/b"},
  };
  for (const auto& [text, path] : rows) EXPECT_EQ(url(text).fileSystemRepresentation(), path);
}

TEST(NSURL, IsFileURL) {
  for (const char* text : {"file:///a", "FILE:///a", "fIlE:a", "file:"}) {
    EXPECT_TRUE(url(text).isFileURL()) << text;
  }
  for (const char* text : {"", "files:///a", "fil:///a", "/a", "file", "x:file", "f)le:/a"}) {
    EXPECT_FALSE(url(text).isFileURL()) << text;
  }
}

TEST(NSURL, AppendingAPathComponent) {
  const struct {
    const char* text;
    const char* component;
    const char* result;
  } rows[] = {
      {"file:///a", "b", "file:///a/b"},
      {"file:///a/", "b", "file:///a/b"},
      {"file:///a//", "/b", "file:///a/b"},
      {"file:///a", "b c/é;?#%", "file:///a/b%20c/%C3%A9%3B%3F%23%25"},
      {"file:///a", "\xFF", "file:///a/%FF"},
      {"file:///a", "b/", "file:///a/b/"},
      {"file:///a", "", "file:///a/"},
      {"file:///", "b", "file:///b"},
      {"x://h", "b", "x://h/b"},
      {"x://h?q#f", "b", "x://h/b?q#f"},
      {"x://h/a;p?q#f", "b", "x://h/a/b;p?q#f"},
      {"x://h/a#f", "b", "x://h/a/b#f"},
      {"a", "b", "a/b"},
      {"", "b", "b"},
      {"", "//b", "/b"},
      {"", "x:b", "x%3Ab"},
      {"a", "x:b", "a/x:b"},
      {"mailto:a@b", "c", "mailto:a@b"},
  };
  for (const auto& row : rows) {
    const NSURL longer = url(row.text).URLByAppendingPathComponent(row.component);
    EXPECT_EQ(longer.absoluteString(), row.result) << row.text << " " << row.component;
    EXPECT_EQ(partsOf(longer), partsOf(url(row.result)));
  }
}

TEST(NSURL, AppendingAPathExtension) {
  const struct {
    const char* text;
    const char* extension;
    const char* result;
  } rows[] = {
      {"file:///a", "txt", "file:///a.txt"},
      {"file:///a/", "txt", "file:///a.txt/"},
      {"file:///a.tar", "gz", "file:///a.tar.gz"},
      {"x://h/a;p?q#f", "t t", "x://h/a.t%20t;p?q#f"},
      {"file:///", "txt", "file:///"},
      {"x://h", "txt", "x://h"},
      {"file:///a", "", "file:///a"},
      {"file:///a", "/t", "file:///a"},
      {"mailto:a@b", "txt", "mailto:a@b"},
      {"a", "x:y", "a.x%3Ay"},  // not a scheme
  };
  for (const auto& row : rows) {
    EXPECT_EQ(url(row.text).URLByAppendingPathExtension(row.extension).absoluteString(),
              row.result);
  }
}

}  // namespace
}  // namespace korvane
