#include "text/LinkSchemes.h"

#include <gtest/gtest.h>

#include <string_view>

namespace korvane {
namespace {

TEST(LinkSchemes, AreFoundInAnyCaseAndWhole) {
  for (const std::string_view scheme : {"http", "HTTP", "Http", "xmpp", "facetime-audio"}) {
    EXPECT_NE(findLinkScheme(scheme), nullptr) << scheme;
  }
  for (const std::string_view scheme :
       {"", "htt", "httpx", "http:", " http", "word", "h\xC3\xA9"}) {
    EXPECT_EQ(findLinkScheme(scheme), nullptr) << scheme;
  }
}

TEST(LinkSchemes, SayWhatFollows) {
  const auto form = [](std::string_view scheme) { return findLinkScheme(scheme)->form; };
  EXPECT_EQ(form("https"), LinkForm::web);
  EXPECT_EQ(form("mailto"), LinkForm::mail);
  EXPECT_EQ(form("tel"), LinkForm::number);
  EXPECT_EQ(form("sip"), LinkForm::address);
  EXPECT_EQ(form("magnet"), LinkForm::query);
  EXPECT_EQ(form("ssh"), LinkForm::hierarchy);
}

// What runs, carries a document, or reaches into this machine never goes to others; what is never a
// link does not either.
TEST(LinkSchemes, ForDocuments) {
  for (const std::string_view scheme :
       {"http", "https", "ftp", "mailto", "tel", "sms", "xmpp", "sip", "sips", "matrix", "magnet",
        "mid", "geo", "news", "nntp", "webcal", "irc"}) {
    EXPECT_TRUE(findLinkScheme(scheme)->forDocuments) << scheme;
  }
  for (const std::string_view scheme :
       {"javascript", "vbscript", "data", "file", "blob", "view-source", "filesystem", "jar",
        "korvane", "cid", "ssh", "smb", "ldap", "telnet", "rsync", "feed"}) {
    const LinkScheme* found = findLinkScheme(scheme);
    EXPECT_TRUE(found != nullptr && !found->forDocuments) << scheme;
  }
  for (const std::string_view scheme : {"javascript", "vbscript", "data", "blob", "view-source"}) {
    EXPECT_EQ(findLinkScheme(scheme)->form, LinkForm::none) << scheme;
  }
}

}  // namespace
}  // namespace korvane
