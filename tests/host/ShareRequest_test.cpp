#include "host/ShareRequest.h"

#include <gmock/gmock.h>

#include "host/InputError.h"
#include "tests/support/RequestWriter.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using Content = ShareRequest::Content;

NSData bytes(std::string_view text) { return {text.begin(), text.end()}; }

/// What the reader says; "" where it accepts.
std::string refusal(std::string_view json) {
  try {
    readShareRequest(json);
  } catch (const InputError& error) {
    EXPECT_STRNE(error.what(), "");
    return error.what();
  }
  return {};
}

TEST(ShareRequest, ReadsEverythingInItsOrder) {
  const ShareRequest request = readShareRequest(R"({"items": [
    {"title": "T", "text": "a\nb", "html": "<b>x</b>", "attachments": [
      {"url": "https://a.example/?q=1"}, {"file": "/tmp/a b"}, {"image": "p.jpg"},
      {"imageData": "Zm9v"}, {"type": "public.plain-text", "text": "t"}, {"text": "", "type": "x"}]},
    {},
    {"attachments": []}]})");
  ASSERT_THAT(request.items, SizeIs(3));
  const ShareRequest::Item& item = request.items[0];
  EXPECT_EQ(item.title, "T");
  EXPECT_THAT(item.contents, ElementsAre(Content{Content::Kind::text, "a\nb"},
                                         Content{Content::Kind::html, "<b>x</b>"}));
  EXPECT_THAT(
      item.attachments,
      ElementsAre(ShareRequest::Attachment(ShareRequest::Link{"https://a.example/?q=1"}),
                  ShareRequest::Attachment(ShareRequest::File{"/tmp/a b"}),
                  ShareRequest::Attachment(ShareRequest::ImageFile{"p.jpg"}),
                  ShareRequest::Attachment(ShareRequest::ImageData{bytes("foo")}),
                  ShareRequest::Attachment(ShareRequest::TypedText{"public.plain-text", "t"}),
                  ShareRequest::Attachment(ShareRequest::TypedText{"x", ""})));
  EXPECT_EQ(request.items[1], ShareRequest::Item());
  EXPECT_EQ(request.items[2], ShareRequest::Item());
}

TEST(ShareRequest, AbsentIsNotEmpty) {
  const ShareRequest request = readShareRequest(R"({"items": [{"title": "", "text": ""}]})");
  EXPECT_EQ(request.items[0].title, "");
  EXPECT_THAT(request.items[0].contents, ElementsAre(Content{Content::Kind::text, ""}));
  EXPECT_THAT(readShareRequest(R"({"items": []})").items, IsEmpty());
}

TEST(ShareRequest, TextComesBeforeHtmlWhateverTheOrderOfTheKeys) {
  const ShareRequest request = readShareRequest(R"({"items": [{"html": "h", "text": "t"}]})");
  EXPECT_THAT(request.items[0].contents,
              ElementsAre(Content{Content::Kind::text, "t"}, Content{Content::Kind::html, "h"}));
}

TEST(ShareRequest, AnItemSaysWhichPageItsHtmlIsFrom) {
  const ShareRequest request = readShareRequest(
      R"({"items": [{"baseUrl": "HTTPS://a.example/p", "text": "t", "html": "h"}, {"html": "i"}]})");
  EXPECT_THAT(request.items[0].contents,
              ElementsAre(Content{Content::Kind::text, "t"},
                          Content{Content::Kind::html, "h", "HTTPS://a.example/p"}));
  EXPECT_THAT(request.items[1].contents, ElementsAre(Content{Content::Kind::html, "i"}));
}

TEST(ShareRequest, TextsAreUnescaped) {
  const ShareRequest request = readShareRequest(
      "\xEF\xBB\xBF{\"items\":[{\"title\":\"\\u00e4\\ud83d\\ude00\\\"\\\\ \xC3\xA4\"}]}");
  EXPECT_EQ(request.items[0].title, "\xC3\xA4\xF0\x9F\x98\x80\"\\ \xC3\xA4");
}

TEST(ShareRequest, RefusesWithOneLineThatNamesThePlace) {
  struct Case {
    std::string json;
    std::string says;
  };
  const std::vector<Case> cases = {
      // Not JSON, or not all of it.
      {"", "the JSON text ends too early"},
      {"   \n", "the JSON text ends too early"},
      {R"({"items": [{"title": "abc)", "the JSON text ends too early"},
      {R"({"items": [{"attachments": [{"url": "x"})", "the JSON text ends too early"},
      {"{\"items\":\n [nope]}", "no JSON at line 2, byte 4"},
      {R"({"items": []} x)", "no JSON at line 1, byte 15"},
      {R"({"items": []}{"items": []})", "no JSON at line 1, byte 14"},
      {R"({'items': []})", "no JSON at line 1, byte 2"},
      {R"({"items": [],})", "no JSON at line 1"},
      {"{\"items\": [{\"title\": \"\xFF\"}]}", "no JSON at line 1"},
      {"hello", "no JSON at line 1, byte 1"},
      // Wrong kinds.
      {"[]", "the request must be an object, not a list"},
      {"null", "the request must be an object, not null"},
      {R"("items")", "the request must be an object, not a text"},
      {"{}", "\"items\" is missing"},
      {R"({"items": {}})", "items must be a list, not an object"},
      {R"({"items": null})", "items must be a list, not null"},
      {R"({"items": [1]})", "items[0] must be an object, not a number"},
      {R"({"items": [{}, []]})", "items[1] must be an object, not a list"},
      {R"({"items": [{"title": 5}]})", "items[0].title must be a text, not a number"},
      {R"({"items": [{}, {"text": null}]})", "items[1].text must be a text, not null"},
      {R"({"items": [{"html": ["x"]}]})", "items[0].html must be a text, not a list"},
      {R"({"items": [{"title": {}}]})", "items[0].title must be a text, not an object"},
      {R"({"items": [{"baseUrl": 1}]})", "items[0].baseUrl must be a text, not a number"},
      {R"({"items": [{"baseUrl": "file:///a"}]})", "items[0].baseUrl must be an http or https URL"},
      {R"({"items": [{"baseUrl": "https://"}]})", "items[0].baseUrl must be an http or https URL"},
      {R"({"items": [{"attachments": "x"}]})", "items[0].attachments must be a list, not a text"},
      {R"({"items": [{"attachments": {}}]})", "items[0].attachments must be a list, not an object"},
      // Keys.
      {R"({"itmes": []})", "unknown key \"itmes\""},
      {R"({"items": [{"titel": "x"}]})", "unknown key items[0].\"titel\""},
      {R"({"a": {"b": [1, {"c": null}]}, "items": [{"Title": 1, "attachments": [{"url": "x:y"}]}]})",
       "unknown keys \"a\", items[0].\"Title\""},
      {R"({"items": [{"x\ny": 1}]})", "unknown key items[0].\"x\\ny\""},
      {R"({"items": [], "items": []})", "\"items\" is given twice"},
      {R"({"items": [{"title": "a", "title": "b"}]})", "items[0].\"title\" is given twice"},
      {R"({"items": [{"title": "a", "attachments": [], "title": "b"}]})",
       "items[0].\"title\" is given twice"},
  };
  for (const Case& c : cases) {
    const std::string said = refusal(c.json);
    EXPECT_THAT(said, HasSubstr(c.says)) << c.json;
    EXPECT_THAT(said, Not(HasSubstr("\n"))) << c.json;
  }
}

TEST(ShareRequest, AWrongAttachmentIsItsOwnLossAlone) {
  const std::pair<std::string, std::string> cases[] = {
      {R"(true)", "it must be an object, not a boolean"},
      {R"([{"url": "x:y"}, [[]]])", "it must be an object, not a list"},
      {R"("x:y")", "it must be an object, not a text"},
      {R"({})", "it must have exactly one of"},
      {R"({"url": 1.5})", "\"url\" must be a text, not a number"},
      {R"({"url": {"file": [{"url": "x"}]}})", "\"url\" must be a text, not an object"},
      {R"({"url": [[], {}], "file": "/x"})", "\"url\" must be a text, not a list"},
      {R"({"url": null})", "\"url\" must be a text, not null"},
      {R"({"ulr": "x"})", "unknown key \"ulr\""},
      {R"({"url": "a:b", "title": {"x": [1]}})", "unknown key \"title\""},
      {R"({"x\ny\u001b": 1})", "unknown key \"x\\ny\\u001b\""},
      {R"({"url": "a:b", "url": "a:c"})", "\"url\" is given twice"},
      {R"({"url": "a:b", "file": "/x"})", "exactly one"},
      {R"({"type": "public.url"})", "exactly one"},
      {R"({"text": "x"})", "exactly one"},
      {R"({"type": "a", "text": "b", "url": "c:d"})", "exactly one"},
      {R"({"url": ""})", "\"url\" is empty"},
      {R"({"file": ""})", "\"file\" is empty"},
      {R"({"image": ""})", "\"image\" is empty"},
      {R"({"imageData": ""})", "\"imageData\" is empty"},
      {R"({"type": "", "text": "x"})", "\"type\" is empty"},
      {R"({"file": "/a\u0000b"})", "holds a NUL character"},
      {R"({"imageData": "Zm9"})", "\"imageData\" is not base64"},
      {R"({"imageData": " "})", "\"imageData\" is not base64"},
  };
  for (const auto& [attachment, says] : cases) {
    const ShareRequest request =
        readShareRequest(R"({"items": [{}, {"attachments": [{"url": "a:b"}, )" + attachment +
                         R"(, {"file": "/x"}], "title": "T"}]})");
    ASSERT_THAT(request.items, SizeIs(2)) << attachment;
    EXPECT_EQ(request.items[1].title, "T");
    EXPECT_EQ(request.items[1].attachments,
              (std::vector<ShareRequest::Attachment>{ShareRequest::Link{"a:b"},
                                                     ShareRequest::File{"/x"}}))
        << attachment;
    ASSERT_THAT(request.unread, SizeIs(1)) << attachment;
    EXPECT_EQ(request.unread[0].item, "items[1].attachments[1]");
    EXPECT_THAT(request.unread[0].reason, HasSubstr(says));
    EXPECT_THAT(request.unread[0].reason, Not(HasSubstr("\n")));
  }
}

TEST(ShareRequest, HalfASurrogatePairIsAReplacementCharacter) {
  const std::pair<std::string, std::string> cases[] = {
      {R"(\ud83d\ude00)", "\xF0\x9F\x98\x80"},
      {R"(\ud83dx)", "\uFFFDx"},
      {R"(\ude00)", "\uFFFD"},
      {R"(\uD83D\uD83D\uDE00)", "\uFFFD\xF0\x9F\x98\x80"},
      {R"(\ude00\ud83d)", "\uFFFD\uFFFD"},
      {R"(\\ud83d)", "\\ud83d"},
      {R"(\ud83d\\ude00)", "\uFFFD\\ude00"},
      {R"(\ud83d\n)", "\uFFFD\n"},
  };
  for (const auto& [json, text] : cases) {
    EXPECT_EQ(readShareRequest("{\"items\": [{\"title\": \"" + json + "\"}]}").items.at(0).title,
              text)
        << json;
  }
  EXPECT_EQ(refusal(R"({"items": [{"title": "\ud83d)"), "the JSON text ends too early");
  EXPECT_THAT(refusal(R"({"items": [{"title": "\ud8zz"}]})"), HasSubstr("no JSON at line 1"));
}

TEST(ShareRequest, NamesTenUnknownKeysAtMost) {
  std::string json = R"({"items": [)";
  for (int i = 0; i < 1000; ++i)
    json += std::string(i ? "," : "") + "{\"key" + std::to_string(i) + "\": 1}";
  const std::string said = refusal(json + "]}");
  EXPECT_THAT(said, HasSubstr("items[9].\"key9\" and others"));
  EXPECT_THAT(said, Not(HasSubstr("key10")));
}

TEST(ShareRequest, LongKeysAreCutShort) {
  const std::string said = refusal("{\"" + std::string(100'000, 'k') + "\": 1}");
  EXPECT_LT(said.size(), 200U);
}

TEST(ShareRequest, DeepNestingIsRefusedWhereverItIs) {
  const std::string deep(200'000, '[');
  EXPECT_NE(refusal(deep), "");
  EXPECT_EQ(refusal("{\"x\": " + deep), "nested too deeply");
  EXPECT_EQ(refusal("{\"items\": [{\"attachments\": [{\"x\": " + deep), "nested too deeply");
  std::string objects;
  for (int i = 0; i < 100'000; ++i) objects += "{\"a\":";
  EXPECT_EQ(refusal("{\"x\": " + objects), "nested too deeply");
}

TEST(ShareRequest, HugeRequestsAreRefused) {
  EXPECT_EQ(refusal(std::string(kMaxInput + 1, ' ')), "larger than 256 MiB");
  std::string items = R"({"items": [{})";
  for (int i = 0; i < 100'000; ++i) items += ",{}";
  EXPECT_EQ(refusal(items + "]}"), "more than 100000 items");
  std::string attachments = R"({"items": [{"attachments": [{"url":"a:b"})";
  for (int i = 0; i < 100'000; ++i) attachments += R"(,{"url":"a:b"})";
  EXPECT_EQ(refusal(attachments + "]}]}"), "more than 100000 attachments");
}

TEST(ShareRequest, TenThousandItemsAreFine) {
  std::string json = R"({"items": [)";
  for (int i = 0; i < 10'000; ++i) {
    json += std::string(i ? "," : "") +
            R"({"text": "t", "attachments": [{"url": "https://a.example/)" + std::to_string(i) +
            "\"}]}";
  }
  EXPECT_THAT(readShareRequest(json + "]}").items, SizeIs(10'000));
}

TEST(ShareRequest, EveryTruncationIsRefused) {
  const std::string json =
      R"({"items": [{"title": "T\u00e4", "attachments": [{"url": "a:b"}, {"imageData": "Zm9v"}]}]})";
  ASSERT_EQ(refusal(json), "");
  for (std::size_t size = 0; size < json.size(); ++size) {
    EXPECT_NE(refusal(json.substr(0, size)), "") << json.substr(0, size);
  }
}

TEST(ShareRequest, WhatIsWrittenReadsTheSame) {
  ShareRequest request;
  request.items.resize(3);
  request.items[0].title = "a \"title\"\n\xF0\x9F\x98\x80";
  request.items[0].contents = {{Content::Kind::text, "\x01"}, {Content::Kind::html, "</script>"}};
  request.items[0].attachments = {ShareRequest::Link{"x y"}, ShareRequest::ImageData{bytes("ab")},
                                  ShareRequest::TypedText{"public.url", "\\"}};
  request.items[2].attachments = {ShareRequest::File{"-"}, ShareRequest::ImageFile{"./p"}};
  EXPECT_EQ(readShareRequest(testing::writeShareRequest(request)), request);
}

}  // namespace
}  // namespace korvane
