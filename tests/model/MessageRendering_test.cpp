#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "model/ExtensionMessage.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

using ::testing::IsEmpty;

/// Finds "http://" and what follows up to a space, "<" or an apostrophe; "www." gets "http://".
class WordDetector : public NSDataDetector {
 public:
  std::vector<NSTextCheckingResult> matchesInString(std::string_view text) override {
    ++calls;
    std::vector<NSTextCheckingResult> found;
    std::size_t at = 0;
    while (at < text.size()) {
      const bool www = text.substr(at).starts_with("www.");
      if (!www && !text.substr(at).starts_with("http://")) {
        ++at;
        continue;
      }
      const std::size_t end = std::min(text.find_first_of(" <'", at), text.size());
      const std::string url = (www ? "http://" : "") + std::string(text.substr(at, end - at));
      found.push_back({at, end - at, NSURL::URLWithString(url).value()});
      at = end;
    }
    return found;
  }
  int calls = 0;
};

class MessageRendering : public ::testing::Test {
 protected:
  MessageRendering() {
    platform_.services.links = detector_;
    platform_.install();
  }
  /// The rendering of a plain body, which must also be what is stored.
  std::string rendered(const std::string& plain) {
    ExtensionMessage message;
    message.setPlainBody(plain);
    const std::string html = message.renderHtml();
    EXPECT_EQ(message.plainBody(), html);
    EXPECT_EQ(message.htmlBody(), "");
    return html;
  }
  testing::TestPlatform platform_;
  std::shared_ptr<WordDetector> detector_ = std::make_shared<WordDetector>();
};

std::string anchor(const std::string& link) { return "<a href='" + link + "'>" + link + "</a>"; }

TEST_F(MessageRendering, AFreshRecord) {
  ExtensionMessage message;
  EXPECT_EQ(message.renderHtml(), "");
  EXPECT_EQ(message.htmlBody(), "");
  EXPECT_EQ(message.plainBody(), "");
}

TEST_F(MessageRendering, AbsentBodies) {
  ExtensionMessage message{Value(Dictionary())};
  EXPECT_EQ(message.renderHtml(), "");
  EXPECT_EQ(message.htmlBody(), std::nullopt);
  EXPECT_EQ(message.plainBody(), std::nullopt);
  EXPECT_EQ(detector_->calls, 0);
}

TEST_F(MessageRendering, WhichPathIsTaken) {
  struct Row {
    std::optional<std::string> html;
    std::optional<std::string> plain;
    std::string want;
  };
  const std::string image = "<img src=\"file:///tmp/a.png\"/><br/>";
  for (const Row& row : std::vector<Row>{
           {std::nullopt, std::nullopt, ""},
           {std::nullopt, "", ""},
           {std::nullopt, "x\ny", "x<br>y"},
           {"", std::nullopt, image},
           {"", "", image},
           {"", "x\ny", "x<br>y"},
           {"<b>", std::nullopt, "<b>" + image},
           {"<b>", "", "<b>" + image},
           {"<b>", "x\ny", "<b>" + image},
       }) {
    ExtensionMessage message;
    message.setHtmlBody(row.html);
    message.setPlainBody(row.plain);
    message.setAttachments(List{"/tmp/a.png"});
    EXPECT_EQ(message.renderHtml(), row.want);
    const bool htmlPath = row.want.find("<img") != std::string::npos;
    EXPECT_EQ(message.htmlBody(), htmlPath ? row.want : row.html);
    EXPECT_EQ(message.plainBody(), htmlPath || row.want.empty() ? row.plain : row.want);
  }
}

TEST_F(MessageRendering, AttachmentsAsTheyStand) {
  ExtensionMessage message;
  message.setAttachments(List{"/a \"b\"<c>&.png", NSURL::fileURLWithPath("/d e.png"), 7, ""});
  EXPECT_EQ(message.renderHtml(),
            "<img src=\"file:///a \"b\"<c>&.png\"/><br/>"
            "<img src=\"file://file:///d%20e.png\"/><br/>"
            "<img src=\"file://7\"/><br/>"
            "<img src=\"file://\"/><br/>");
  EXPECT_EQ(message.attachments().value().size(), 4u);
}

TEST_F(MessageRendering, AbsentAttachments) {
  ExtensionMessage message;
  message.setHtmlBody("x");
  message.setAttachments(std::nullopt);
  EXPECT_EQ(message.renderHtml(), "x");
}

TEST_F(MessageRendering, ManyAttachments) {
  ExtensionMessage message;
  message.setAttachments(List(20'000, Value("/a.png")));
  EXPECT_EQ(message.renderHtml().size(), 20'000u * 31);
}

TEST_F(MessageRendering, TwiceAddsImagesTwice) {
  ExtensionMessage message;
  message.setAttachments(List{"/tmp/a.png"});
  message.renderHtml();
  EXPECT_EQ(message.renderHtml(),
            "<img src=\"file:///tmp/a.png\"/><br/><img src=\"file:///tmp/a.png\"/><br/>");
}

TEST_F(MessageRendering, OnlyLineFeedsChange) {
  EXPECT_EQ(rendered("a\nb"), "a<br>b");
  EXPECT_EQ(rendered("\n\n"), "<br><br>");
  EXPECT_EQ(rendered("a\r\nb\rc"), "a\r<br>b\rc");
  EXPECT_EQ(rendered("<b> & \"' \t"), "<b> & \"' \t");
}

TEST_F(MessageRendering, OneLink) {
  EXPECT_EQ(rendered("see http://a.example now"), "see " + anchor("http://a.example") + " now");
  EXPECT_EQ(rendered("http://a.example\nx"), anchor("http://a.example") + "<br>x");
  EXPECT_EQ(detector_->calls, 2);  // once for each rendering
}

TEST_F(MessageRendering, ANormalisedLinkStaysPlain) {
  EXPECT_EQ(rendered("see www.a.example"), "see www.a.example");
  // Unless its full form stands elsewhere: that is then a link twice.
  const std::string link = "http://www.a";
  EXPECT_EQ(rendered("www.a http://www.a"),
            "www.a <a href='" + anchor(link) + "'>" + anchor(link) + "</a>");
}

TEST_F(MessageRendering, ALinkThatStandsTwiceIsReplacedInItsOwnAnchors) {
  const std::string link = "http://a";
  const std::string twice = "<a href='" + anchor(link) + "'>" + anchor(link) + "</a>";
  EXPECT_EQ(rendered("http://a http://a"), twice + " " + twice);
}

TEST_F(MessageRendering, ALinkThatBeginsALongerOne) {
  const std::string shorter = "http://a";
  const std::string longer = "http://ab";
  EXPECT_EQ(rendered("http://a http://ab"), anchor(shorter) + " " + anchor(shorter) + "b");
  EXPECT_EQ(rendered("http://ab http://a"),
            "<a href='" + anchor(shorter) + "b'>" + anchor(shorter) + "b</a> " + anchor(shorter));
}

TEST_F(MessageRendering, TwiceMakesAnchorsAgain) {
  ExtensionMessage message;
  message.setPlainBody("http://a");
  const std::string once = message.renderHtml();
  EXPECT_EQ(once, "<a href='http://a'>http://a</a>");
  // Now the link stands twice, and is replaced twice.
  const std::string a = anchor("http://a");
  const std::string aa = "<a href='" + a + "'>" + a + "</a>";
  EXPECT_EQ(message.renderHtml(), "<a href='" + aa + "'>" + aa + "</a>");
}

/// The chain written down as simply as it can be.
std::string slowlyRendered(std::string body, const std::vector<std::string>& links) {
  for (const std::string& link : links) {
    std::string next;
    for (std::size_t at = 0; at < body.size();) {
      if (body.compare(at, link.size(), link) == 0) {
        next += anchor(link);
        at += link.size();
      } else {
        next += body[at++];
      }
    }
    body = next;
  }
  return body;
}

TEST_F(MessageRendering, AgreesWithTheSimpleChain) {
  std::mt19937 random(1);
  const std::vector<std::string> pieces = {"http://", "a", "b", "http:/", "/",    " ",    "<",
                                           "href='",  "'", "h", "ht",     "www.", "</a>", ">"};
  for (int round = 0; round < 2000; ++round) {
    std::string plain = "x";
    const unsigned length = 1 + random() % 16;
    for (unsigned piece = 0; piece < length; ++piece) plain += pieces[random() % pieces.size()];
    while (plain.find("www.>") != std::string::npos) plain.replace(plain.find("www.>"), 5, "www.");
    std::erase(plain, '>');
    const ExtensionMessage finder;
    const std::vector<std::string> links = finder.searchUrlsDetector(plain);
    if (links.size() > 5) continue;
    EXPECT_EQ(rendered(plain), slowlyRendered(plain, links)) << plain;
  }
}

TEST_F(MessageRendering, ALinkThatRepeatsItself) {
  std::string shorter;
  for (int i = 0; i < 20'000; ++i) shorter += "http://";
  const std::string link = shorter + "b";
  const std::string body = link + " " + shorter + shorter + "a";
  EXPECT_EQ(rendered(body), anchor(link) + " " + anchor(shorter + shorter + "a"));
}

TEST_F(MessageRendering, ManyCopiesOfOneLinkStayWithinBounds) {
  std::string body;
  for (int i = 0; i < 40; ++i) body += "http://a.example ";
  const std::string html = rendered(body);
  EXPECT_LE(html.size(), (64u << 20) + 8 * body.size());
  EXPECT_TRUE(html.starts_with("<a href='<a href='"));
  EXPECT_EQ(platform_.log->lines(),
            std::vector<std::string>{"ExtensionMessage renderHtml: too many copies of one link, "
                                     "the rest stays plain"});
}

TEST_F(MessageRendering, LogsNothingElse) {
  rendered("http://a http://a www.b\n");
  EXPECT_THAT(platform_.log->lines(), IsEmpty());
}

}  // namespace
}  // namespace korvane
