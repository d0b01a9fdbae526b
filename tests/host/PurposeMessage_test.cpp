#include "host/PurposeMessage.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <utility>

#include "formats/cbor/CBOR.h"
#include "host/InputError.h"
#include "linux/detail/FileDescriptor.h"
#include "tests/support/CBORWriter.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Attachment = ShareRequest::Attachment;
using File = ShareRequest::File;
using ImageData = ShareRequest::ImageData;
using Link = ShareRequest::Link;
using Content = ShareRequest::Content;

constexpr std::chrono::seconds kPatience{60};

CBORItem texts(const std::vector<std::string>& texts) {
  CBORItem::Array array;
  for (const std::string& text : texts) array.push_back({text});
  return {std::move(array)};
}

std::string message(CBORItem::Map map) { return testing::CBORWriter::write({std::move(map)}); }

ShareRequest requestOf(const std::vector<std::string>& urls) {
  return requestOfPurposeMessage(message(
      {{{std::string("mimeType")}, {std::string("*/*")}}, {{std::string("urls")}, texts(urls)}}));
}

std::string refusal(std::string_view cbor) {
  try {
    requestOfPurposeMessage(cbor);
  } catch (const InputError& error) {
    return error.what();
  }
  return "not refused";
}

TEST(PurposeMessage, FilesFoldersAndLinksInTheirOrder) {
  const ShareRequest request = requestOf(
      {"file:///home/ann/d", "file:///h/-dash %25U.txt", "file:///h/a, b %22q%22 100%25.txt",
       "https://example.org/", "/h/plain %41.txt", "FILE:///h/it's $HOME & %231.txt", ""});
  ASSERT_EQ(request.items.size(), 1U);
  EXPECT_THAT(
      request.items[0].attachments,
      ElementsAre(Attachment(Link{"file:///home/ann/d"}),
                  Attachment(Link{"file:///h/-dash %25U.txt"}),
                  Attachment(Link{"file:///h/a, b %22q%22 100%25.txt"}),
                  Attachment(Link{"https://example.org/"}), Attachment(File{"/h/plain %41.txt"}),
                  Attachment(Link{"FILE:///h/it's $HOME & %231.txt"})));
  EXPECT_THAT(request.items[0].contents, IsEmpty());
  EXPECT_THAT(request.unread, IsEmpty());
  EXPECT_EQ(request.items[0].title, std::nullopt);
}

TEST(PurposeMessage, DataURLsAreWhatTheyHold) {
  const ShareRequest request =
      requestOf({"data:image/png;base64,AAEC", "data:text/plain,a%20b", "data:text/html,<b>c</b>",
                 "data:image/png;base64,!", "data:;base64,!", "data:,%FF", "data:font/woff,x"});
  EXPECT_THAT(request.items[0].attachments, ElementsAre(Attachment(ImageData{NSData{0, 1, 2}})));
  EXPECT_THAT(request.items[0].contents, ElementsAre(Content{Content::Kind::text, "a b"},
                                                     Content{Content::Kind::html, "<b>c</b>"}));
  EXPECT_THAT(request.unread,
              ElementsAre(MissingThing{"a picture", "it is not base64"},
                          MissingThing{"a text", "it is not base64"},
                          MissingThing{"a text", "it is not UTF-8"},
                          MissingThing{"a data: URL", "it holds neither a picture nor a text"}));
}

TEST(PurposeMessage, ATitleIsThatOfALinkElseALine) {
  const auto withTitle = [](const std::string& url) {
    return requestOfPurposeMessage(message({{{std::string("title")}, {std::string("T")}},
                                            {{std::string("text")}, {std::string("words")}},
                                            {{std::string("url")}, {url}}}));
  };
  const ShareRequest link = withTitle("https://example.org/");
  EXPECT_EQ(link.items[0].title, "T");
  EXPECT_THAT(link.items[0].contents, ElementsAre(Content{Content::Kind::text, "words"}));

  const ShareRequest file = withTitle("file:///h/a");
  EXPECT_EQ(file.items[0].title, std::nullopt);
  EXPECT_THAT(file.items[0].contents, ElementsAre(Content{Content::Kind::text, "T"},
                                                  Content{Content::Kind::text, "words"}));
}

TEST(PurposeMessage, OtherKeysAreOfNoConcern) {
  const ShareRequest request =
      requestOfPurposeMessage(message({{{std::uint64_t{1}}, {std::uint64_t{2}}},
                                       {{std::string("urls")}, {std::string("https://a.example/")}},
                                       {{std::string("title")}, {kCBORNull}},
                                       {{std::string("device")}, texts({"x"})}}));
  EXPECT_THAT(request.items[0].attachments, ElementsAre(Attachment(Link{"https://a.example/"})));
}

TEST(PurposeMessage, ATaggedURLIsATextToo) {
  const CBORItem url{
      CBORTagged{32, std::make_shared<CBORItem>(CBORItem{std::string("http://a/")})}};
  const ShareRequest request =
      requestOfPurposeMessage(message({{{std::string("urls")}, {CBORItem::Array{url}}}}));
  EXPECT_THAT(request.items[0].attachments, ElementsAre(Attachment(Link{"http://a/"})));
}

TEST(PurposeMessage, RefusesWithAReason) {
  EXPECT_EQ(refusal(""), "the Share menu's message cannot be read");
  EXPECT_EQ(refusal("{\"urls\": []}"), "the Share menu's message cannot be read");
  EXPECT_EQ(refusal("\x80"), "the Share menu's message cannot be read");
  EXPECT_EQ(refusal("\xA0"), "the Share menu's message has nothing to share");
  EXPECT_EQ(refusal(message({{{std::string("urls")}, texts({})}})),
            "the Share menu's message has nothing to share");
  EXPECT_EQ(refusal(message({{{std::string("urls")}, {std::uint64_t{1}}}})),
            "the Share menu's message must have texts for \"urls\"");
  EXPECT_EQ(refusal(message({{{std::string("urls")}, {CBORItem::Array{{kCBORNull}}}}})),
            "the Share menu's message must have texts for \"urls\"");
  EXPECT_EQ(refusal(message({{{std::string("title")}, {CBORItem::Array{}}}})),
            "the Share menu's message must have a text for \"title\"");
}

/// What is read of the bytes that the other end writes before it hangs up.
std::string readOf(const std::string& bytes) {
  int ends[2] = {};
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const FileDescriptor ours(ends[0]);
  {
    const FileDescriptor theirs(ends[1]);
    EXPECT_EQ(::write(theirs.get(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }
  try {
    return readPurposeMessage(ours.get(), kPatience);
  } catch (const InputError& error) {
    return error.what();
  }
}

TEST(PurposeMessage, IsReadByItsLength) {
  using namespace std::string_literals;
  EXPECT_EQ(readOf("0\n"), "");
  EXPECT_EQ(readOf("3\na\0b"s), "a\0b"s);
  EXPECT_EQ(readOf("3\nabcdef"), "abc");
  EXPECT_EQ(readOf("268435456\nabc"), "the Share menu's message ends too early");
  for (const char* bytes : {"", "3", "3\n", "3\nab"}) {
    EXPECT_EQ(readOf(bytes), "the Share menu's message ends too early") << bytes;
  }
  for (const char* bytes : {"268435457\n", "99999999999999999999\n", "99999999999999999999999"}) {
    EXPECT_EQ(readOf(bytes), "the Share menu's message is larger than 256 MiB") << bytes;
  }
  for (const char* bytes : {"\n", "-1\nabc", " 3\nabc", "3 \nabc", "0x3\nabc", "{\"urls\":[]}\n",
                            "abcabcabcabcabcabcabcabc"}) {
    EXPECT_EQ(readOf(bytes), "the Share menu's message does not begin with its length") << bytes;
  }
}

TEST(PurposeMessage, SilenceEndsTheWait) {
  int ends[2] = {};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const FileDescriptor ours(ends[0]);
  const FileDescriptor theirs(ends[1]);
  ASSERT_EQ(::write(theirs.get(), "3\na", 3), 3);
  try {
    readPurposeMessage(ours.get(), std::chrono::milliseconds(20));
    FAIL() << "it goes on";
  } catch (const InputError& error) {
    EXPECT_STREQ(error.what(), "the Share menu does not go on with its message");
  }
}

TEST(PurposeMessage, AnswersAreLinesOfJSON) {
  EXPECT_EQ(purposeProgress(0), "{\"percent\":0}\n");
  EXPECT_EQ(purposeProgress(0.505), "{\"percent\":51}\n");
  EXPECT_EQ(purposeProgress(7), "{\"percent\":100}\n");
  EXPECT_EQ(purposeFailure("\"a\"\nb"), "{\"error\":100,\"errorText\":\"\\\"a\\\"\\nb\"}\n");
  EXPECT_EQ(purposeDone(), "{\"percent\":100}\n{\"output\":{\"url\":\"\"}}\n");
}

}  // namespace
}  // namespace korvane
