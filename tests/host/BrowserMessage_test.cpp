#include "host/BrowserMessage.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/InputError.h"

namespace korvane {
namespace {

using Content = ShareRequest::Content;
using Kind = ShareRequest::Content::Kind;

std::string head(std::uint32_t length) {
  std::string bytes(sizeof length, '\0');
  std::memcpy(bytes.data(), &length, sizeof length);
  return bytes;
}

/// What is read where a browser wrote these bytes and closed its end.
std::string read(const std::string& bytes) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
  std::thread writer([&] {
    for (std::size_t at = 0; at < bytes.size();) {
      const ssize_t written = ::write(ends[1], bytes.data() + at, bytes.size() - at);
      if (written <= 0) break;
      at += static_cast<std::size_t>(written);
    }
    ::close(ends[1]);
  });
  std::string message;
  std::string error;
  try {
    message = readBrowserMessage(ends[0]);
  } catch (const InputError& refusal) {
    error = refusal.what();
  }
  writer.join();
  ::close(ends[0]);
  if (!error.empty()) throw InputError(error);
  return message;
}

TEST(BrowserMessage, IsReadToItsLengthAndNoFurther) {
  EXPECT_EQ(read(head(2) + "{}"), "{}");
  EXPECT_EQ(read(head(2) + "{}and more"), "{}");
  EXPECT_EQ(read(head(0)), "");
  const std::string large(3'000'000, 'x');
  EXPECT_EQ(read(head(3'000'000) + large), large);
}

TEST(BrowserMessage, BadFramesAreRefused) {
  EXPECT_THROW(read(""), InputError);
  EXPECT_THROW(read("\1\0"), InputError);
  EXPECT_THROW(read(head(3) + "{}"), InputError);
  EXPECT_THROW(readBrowserMessage(-1), InputError);
}

TEST(BrowserMessage, LengthsAreCheckedBeforeAnythingIsRead) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  for (const std::uint32_t length : {0xFFFFFFFFU, (64U << 20) + 1}) {
    const std::string bytes = head(length) + "left";
    ASSERT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    EXPECT_THROW(readBrowserMessage(ends[0]), InputError);
    char rest[4];
    ASSERT_EQ(::read(ends[0], rest, sizeof rest), 4);
    EXPECT_EQ(std::string(rest, 4), "left");
  }
  ::close(ends[0]);
  ::close(ends[1]);
}

ShareRequest request(const std::string& json) {
  ShareRequest made = requestOfBrowserMessage(json);
  EXPECT_TRUE(made.unread.empty());
  return made;
}

ShareRequest one(ShareRequest::Item item) { return {{std::move(item)}, {}}; }

TEST(BrowserMessage, BecomesARequest) {
  const ShareRequest::Link page{"https://example.org/"};
  EXPECT_EQ(request(R"({"title":"Tea","url":"https://example.org/"})"), one({"Tea", {}, {page}}));
  EXPECT_EQ(request(R"({"title":"T\u0000e\r\na\u007F","url":"https://example.org/"})"),
            one({"T e  a ", {}, {page}}));
  EXPECT_EQ(request(R"({"title":"Tea","url":"https://example.org/","html":"<b>x</b>","text":"x"})"),
            one({"Tea", {{Kind::html, "<b>x</b>", "https://example.org/"}}, {page}}));
  EXPECT_EQ(request(R"({"url":"https://example.org/","html":"","text":"x"})"),
            one({{}, {{Kind::text, "x"}}, {page}}));
  EXPECT_EQ(request(R"({"url":"https://example.org/","imageData":"AAEC"})"),
            one({{}, {}, {page, ShareRequest::ImageData{{0, 1, 2}}}}));
  EXPECT_EQ(request(R"({"url":"MAILTO:ann@example.org"})"),
            one({{}, {}, {ShareRequest::Link{"MAILTO:ann@example.org"}}}));
  EXPECT_EQ(request(R"({"title":"Tea","text":"x"})"),
            one({{}, {{Kind::text, "x"}, {Kind::text, "Tea"}}, {}}));
}

TEST(BrowserMessage, OnlyWebAddressesBecomeLinks) {
  for (const std::string address :
       {"file:///etc/passwd", "FILE:///etc/passwd", "/etc/passwd", "etc/passwd", "about:config",
        "chrome://version/", "javascript:alert(1)", "data:text/html,x", " https://example.org/",
        "smb://host/share", "blob:https://example.org/1"}) {
    EXPECT_EQ(request(R"({"title":"T","url":")" + address + "\"}"),
              one({{}, {{Kind::text, "T"}, {Kind::text, address}}, {}}))
        << address;
  }
}

TEST(BrowserMessage, APictureThatCannotBeDecodedIsItsLossAlone) {
  for (const char* json :
       {R"({"url":"https://example.org/","imageData":"?"})", R"({"imageData":"?"})"}) {
    const ShareRequest made = requestOfBrowserMessage(json);
    ASSERT_EQ(made.unread.size(), 1U) << json;
    EXPECT_EQ(made.unread[0].item, "image.png");
    EXPECT_EQ(made.items[0].attachments.size(), std::string_view(json).find("url") == 2 ? 1U : 0U);
  }
}

TEST(BrowserMessage, HalfASurrogatePairIsAReplacementCharacter) {
  const ShareRequest request = requestOfBrowserMessage(
      R"({"url": "https://a.example/", "title": "a \ud83d b", "text": "\ude00"})");
  ASSERT_EQ(request.items.size(), 1U);
  EXPECT_EQ(request.items[0].title, "a \uFFFD b");
  ASSERT_EQ(request.items[0].contents.size(), 1U);
  EXPECT_EQ(request.items[0].contents[0].bytes, "\uFFFD");
}

TEST(BrowserMessage, OtherMessagesAreRefused) {
  for (const char* json : {
           "",
           "[]",
           "\"text\"",
           "null",
           "1",
           "{",
           "{}{}",
           R"({"title":"alone"})",
           R"({"url":""})",
           R"({"file":"/etc/passwd"})",
           R"({"url":"https://example.org/","image":"/etc/passwd"})",
           R"({"url":"https://example.org/","attachments":[]})",
           R"({"url":"https://example.org/","url":"https://example.com/"})",
           R"({"url":["https://example.org/"]})",
           R"({"url":{"url":"https://example.org/"}})",
           R"({"url":1})",
           R"({"url":null})",
           R"({"url":"https://example.org/","title":{}})",
       }) {
    EXPECT_THROW(requestOfBrowserMessage(json), InputError) << json;
  }
  EXPECT_THROW(requestOfBrowserMessage(std::string(1'000'000, '[')), InputError);
}

TEST(BrowserAnswer, HasItsLengthInFront) {
  EXPECT_EQ(framedBrowserAnswer("{}"), head(2) + "{}");
  EXPECT_EQ(framedBrowserAnswer(std::string(kMaxBrowserAnswer, ' ')).size(), kMaxBrowserAnswer + 4);
  EXPECT_THROW(framedBrowserAnswer(std::string(kMaxBrowserAnswer + 1, ' ')), std::length_error);
}

}  // namespace
}  // namespace korvane
