#include "host/ClipboardRequest.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "linux/LinuxPlatform.h"

namespace korvane {
namespace {

using Item = ShareRequest::Item;
using Kind = ShareRequest::Content::Kind;
using Link = ShareRequest::Link;
using Types = std::vector<std::pair<std::string, std::string>>;

struct FakeClipboard : Clipboard {
  explicit FakeClipboard(Types content) : content(std::move(content)) {}
  std::vector<std::string> types() override {
    std::vector<std::string> names;
    for (const auto& [type, bytes] : content) names.push_back(type);
    return names;
  }
  std::optional<std::string> read(const std::string& type, std::size_t) override {
    for (const auto& [name, bytes] : content) {
      if (name == type) return bytes;
    }
    return std::nullopt;
  }
  Types content;
};

class ClipboardRequestTest : public ::testing::Test {
 protected:
  void SetUp() override { Platform::install(linuxPlatform()); }

  static Item item(Types content) {
    FakeClipboard clipboard(std::move(content));
    ShareRequest request = requestFromClipboard(clipboard);
    EXPECT_EQ(request.items.size(), 1U);
    return request.items.at(0);
  }
};

TEST_F(ClipboardRequestTest, FilesOfFileManagers) {
  const Item two{{}, {}, {Link{"file:///home/ann/a%20b.txt"}, Link{"sftp://host/c"}}};
  EXPECT_EQ(item({{"text/uri-list", "file:///home/ann/a%20b.txt\r\nsftp://host/c\r\n"},
                  {"text/plain", "/home/ann/a b.txt\n/c"}}),
            two);
  EXPECT_EQ(
      item({{"UTF8_STRING", "x"},
            {"x-special/gnome-copied-files", "copy\nfile:///home/ann/a%20b.txt\nsftp://host/c"}}),
      two);
  EXPECT_EQ(item({{"x-special/mate-copied-files",
                   std::string("cut\nfile:///home/ann/a%20b.txt\nsftp://host/c") + '\0'}}),
            two);
  EXPECT_EQ(item({{"text/uri-list", "# a comment\r\nfile:///x"}}),
            (Item{{}, {}, {Link{"file:///x"}}}));
  EXPECT_EQ(item({{"text/uri-list", "data:image/png;base64,AAEC"}}),
            (Item{{}, {}, {ShareRequest::ImageData{{0, 1, 2}}}}));
  // One that names nothing does not hide another.
  EXPECT_EQ(item({{"x-special/gnome-copied-files", "copy"}, {"text/uri-list", "file:///x"}}),
            (Item{{}, {}, {Link{"file:///x"}}}));
}

TEST_F(ClipboardRequestTest, StyledTextComesWithItsPage) {
  const std::string html = "<meta charset='utf-8'><b>Tea</b>";
  const std::string wide("h\0t\0t\0p\0:\0/\0/\0e\0/\0", 18);
  const Item withPage{{}, {{Kind::html, html, "http://e/"}}, {Link{"http://e/"}}};
  EXPECT_EQ(
      item({{"text/plain", "Tea"}, {"text/html", html}, {"chromium/x-source-url", "http://e/"}}),
      withPage);
  EXPECT_EQ(item({{"text/html", html}, {"text/x-moz-url-priv", wide}}), withPage);
  const Item alone{{}, {{Kind::html, html}}, {}};
  EXPECT_EQ(item({{"text/html", html}, {"image/png", "picture of it"}}), alone);
  EXPECT_EQ(item({{"text/html", html}, {"chromium/x-source-url", "file:///etc/passwd"}}), alone);
  EXPECT_EQ(item({{"text/html", html}, {"chromium/x-source-url", "chrome://settings/"}}), alone);
}

TEST_F(ClipboardRequestTest, APictureIsNotItsMarkup) {
  const Item picture{
      {}, {}, {ShareRequest::ImageData{{'P', 'N', 'G'}}, Link{"https://example.org/"}}};
  EXPECT_EQ(
      item({{"text/html", "<meta charset='utf-8'><img src=\"https://example.org/x.png\"> &nbsp;"},
            {"chromium/x-source-url", "https://example.org/"},
            {"image/png", "PNG"}}),
      picture);
}

TEST_F(ClipboardRequestTest, PicturesSelectedOnAPageAreSharedWithIt) {
  const std::string html = "<img src=\"https://example.org/x.png\">";
  const Item markup{
      {}, {{Kind::html, html, "https://example.org/"}}, {Link{"https://example.org/"}}};
  EXPECT_EQ(item({{"text/html", html},
                  {"text/plain", ""},
                  {"chromium/x-source-url", "https://example.org/"}}),
            markup);
}

TEST_F(ClipboardRequestTest, PlainText) {
  const Item text{{}, {{Kind::text, "Grüße"}}, {}};
  EXPECT_EQ(item({{"STRING", "Gr??e"}, {"UTF8_STRING", "Grüße"}}), text);
  EXPECT_EQ(item({{"text/plain", "Gr??e"}, {"text/plain;charset=UTF-8", "Grüße"}}), text);
  EXPECT_EQ(item({{"text/html", ""}, {"TEXT", "Grüße"}}), text);
}

TEST_F(ClipboardRequestTest, OthersAreRefused) {
  for (Types content : {Types{}, Types{{"application/x-color", "red"}}, Types{{"UTF8_STRING", ""}},
                        Types{{"text/uri-list", "# nothing\r\n"}}, Types{{"text/html", "<p> "}}}) {
    FakeClipboard clipboard(content);
    EXPECT_THROW(requestFromClipboard(clipboard), std::runtime_error);
  }
}

}  // namespace
}  // namespace korvane
