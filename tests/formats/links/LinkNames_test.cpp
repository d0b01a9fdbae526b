#include "formats/links/LinkNames.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace korvane::links {
namespace {

std::string joined(std::initializer_list<std::string_view> parts) {
  std::string whole;
  for (const std::string_view part : parts) whole += part;
  return whole;
}

/// The host at the beginning of a text, with "|" where it ends; "" for none.
std::string host(std::string_view text) {
  LinkNames names(text);
  const auto found = names.host(0, LinkNames::Underscores::allowed);
  if (!found) return "";
  const std::size_t port = names.portEnd(found->end);
  return joined(
      {found->ascii, "|", text.substr(found->end), names.endsCleanly(*found, port) ? "" : " cut"});
}

TEST(LinkNames, Hosts) {
  EXPECT_EQ(host("a.example"), "a.example|");
  EXPECT_EQ(host("a.example. b"), "a.example|. b");
  EXPECT_EQ(host("a.com或"), "a.com|或");
  EXPECT_EQ(host("a.com👍 b"), "a.com|👍 b");
  EXPECT_EQ(host("a.com👍.b.com"), "a.xn--com-3113b.b.com|");
  EXPECT_EQ(host("✪df.ws/1"), "xn--df-oiy.ws|/1");
  EXPECT_EQ(host("www。a。com"), "www.a.com|");
  EXPECT_EQ(host("a.com。好"), "a.com|。好");
  EXPECT_EQ(host("-a.com"), "");
  EXPECT_EQ(host(""), "");
  EXPECT_EQ(host(".a"), "");
  EXPECT_EQ(host(std::string(64, 'a')), "");
}

TEST(LinkNames, WhatCutsAHost) {
  for (const std::string_view rest :
       {"%2ecom", "@b",   "^b",       "=b",      "+b", "&b", "-/", "..b", ".-b", ":99999",
        "://b",   ":80b", "\u200B.b", "\u202Eb", ":b", "*b", "!b", ",b",  "(b",  "'b"}) {
    EXPECT_EQ(host(joined({"a.example", rest})), joined({"a.example|", rest, " cut"}));
  }
  for (const std::string_view rest :
       {"",  " b",  ".",  "...b", "/b", "?b", ":80/", ": b",    ":",        "&gt;b", ", b",
        "!", "- b", "'s", ")",    "*",  "*.", "\\n",  "\u200B", "\u200B b", "…",     "，b"}) {
    EXPECT_EQ(host(joined({"a.example", rest})), joined({"a.example|", rest}));
  }
  EXPECT_EQ(host("a.com..b"), "a.com|..b");  // a complete name, and an ellipsis
  EXPECT_EQ(host("foo..b"), "foo|..b cut");  // of one label, though that is a top-level domain
  EXPECT_EQ(host("a.com!b"), "a.com|!b");
}

TEST(LinkNames, BracketedAddresses) {
  for (const std::string_view address :
       {"[::1]", "[2001:db8::1]", "[fe80::1%25eth0]", "[::1.2.3.4]"}) {
    const auto found = LinkNames(address).bracketedAddress(0);
    ASSERT_TRUE(found) << address;
    EXPECT_EQ(found->ascii, address);
  }
  for (const std::string_view address :
       {"[]", "[x]", "[1:2", "[:]", "[fe80::1%eth0]", "[fe80::1%25]", "[fe80::1%25a b]", "::1"}) {
    EXPECT_FALSE(LinkNames(address).bracketedAddress(0)) << address;
  }
}

/// The local part before the "@" of a text, "cut" for a part of one.
std::string localPart(std::string_view text) {
  const std::size_t at = text.rfind('@');
  const auto begin = LinkNames(text).localPartBegin(at, 0);
  return begin ? std::string(text.substr(*begin, at - *begin)) : "cut";
}

TEST(LinkNames, LocalParts) {
  EXPECT_EQ(localPart("joe.doe+tag@"), "joe.doe+tag");
  EXPECT_EQ(localPart("see...joe@"), "joe");
  EXPECT_EQ(localPart("'joe@"), "joe");
  EXPECT_EQ(localPart("-joe@"), "joe");
  EXPECT_EQ(localPart("*joe@"), "joe");
  EXPECT_EQ(localPart("👉joe@"), "joe");
  EXPECT_EQ(localPart("mail=joe@"), "joe");
  EXPECT_EQ(localPart("x='joe@"), "joe");
  EXPECT_EQ(localPart("bounces+joe=a.example@"), "bounces+joe=a.example");
  EXPECT_EQ(localPart("SRS0=HHH=TT=a.example=joe@"), "SRS0=HHH=TT=a.example=joe");
  EXPECT_EQ(localPart(" @"), "");
  for (const std::string_view text :
       {"~joe@", "a/joe@", "a?joe@", "a!joe@", "#joe@", "a*joe@", "$joe@", "^joe@", "\\joe@",
        "+joe@", "joe..doe@", "x=joe@", "☺joe@", "a\u200Bjoe@"}) {
    EXPECT_EQ(localPart(text), "cut") << text;
  }
  EXPECT_EQ(localPart(std::string(65, 'a') + "@"), "cut");
}

TEST(LinkNames, Prefixes) {
  const auto isFree = [](std::string_view text) {
    return LinkNames(text).isFreeOfPrefix(text.rfind(':') + 1, 0);
  };
  for (const std::string_view text : {"mail:a", "E-Mail:a", "Kontakt:a", "邮箱:a", "12:a", "(:a"}) {
    EXPECT_TRUE(isFree(text)) << text;
  }
  for (const std::string_view text : {"pserver:a", "foo:Mail:a", "SIP:a", "sip:a", "x:a"}) {
    EXPECT_FALSE(isFree(text)) << text;
  }
}

TEST(LinkNames, AnotherLink) {
  EXPECT_TRUE(beginsAnotherLink(",http://a", 0));
  EXPECT_TRUE(beginsAnotherLink(";HTTPS://a", 0));
  EXPECT_TRUE(beginsAnotherLink("x|ftp://a", 1));
  for (const std::string_view text :
       {"", ",", ",http", ",http:/", ",mailto://", " http://", ",://"}) {
    EXPECT_FALSE(beginsAnotherLink(text, 0)) << text;
  }
}

TEST(LinkNames, Refused) {
  LinkNames names("a,b;http://c](d) e");
  EXPECT_EQ(names.refusedEnd(0, LinkNames::Until::comma), 1u);
  EXPECT_EQ(names.refusedEnd(0, LinkNames::Until::anotherLink), 3u);
  EXPECT_EQ(names.refusedEnd(0, LinkNames::Until::space), 12u);
}

}  // namespace
}  // namespace korvane::links
