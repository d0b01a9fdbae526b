#include "formats/html/HTMLTokens.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "formats/html/HTMLCharacters.h"

namespace korvane {
namespace {

/// The tokens of a document on one line: texts in square brackets, attributes with their values.
std::string tokens(std::string_view document) {
  HTMLTokens reader(document);
  HTMLToken token;
  std::string line;
  std::string text;
  const auto flush = [&] {
    if (!text.empty()) line += '[' + text + ']';
    text.clear();
  };
  while (reader.next(token)) {
    if (token.kind == HTMLToken::Kind::text) {
      text += token.text;
      continue;
    }
    flush();
    line += token.kind == HTMLToken::Kind::endTag ? "</" : "<";
    line += token.name;
    for (const HTMLAttribute& attribute : token.attributes) {
      line += ' ' + attribute.name + "='" +
              decodeCharacterReferences(attribute.rawValue, HTMLPlace::attribute) + "'";
    }
    line += token.kind == HTMLToken::Kind::startTag && token.selfClosing ? "/>" : ">";
  }
  flush();
  return line;
}

struct Case {
  std::string_view document;
  std::string_view tokens;
};

template <std::size_t size>
void check(const Case (&cases)[size]) {
  for (const Case& one : cases) EXPECT_EQ(tokens(one.document), one.tokens) << one.document;
}

TEST(HTMLTokens, WhatIsNoTag) {
  check({
      {"", ""},
      {"x", "[x]"},
      {"<", "[<]"},
      {"</", "[</]"},
      {"<>", "[<>]"},
      {"</>x", "[x]"},
      {"< a>", "[< a>]"},
      {"<1>", "[<1>]"},
      {"<\u00E9>", "[<\u00E9>]"},
      {"</ a>x", "[x]"},
      {"</1>x", "[x]"},
      {"<a", ""},
      {"<a b='", ""},
      {"</a", ""},
      {"x<a b=c", "[x]"},
  });
}

TEST(HTMLTokens, CommentsAndDeclarations) {
  check({
      {"<?php a > b ?>", "[ b ?>]"},
      {"<!DOCTYPE html>x", "[x]"},
      {"<!x>y", "[y]"},
      {"<![CDATA[x]]>y", "[y]"},
      {"<!-", ""},
      {"<!-a>x", "[x]"},
      {"<!-->x", "[x]"},
      {"<!--->x", "[x]"},
      {"<!---->x", "[x]"},
      {"<!--a-->x", "[x]"},
      {"<!--a--!>x", "[x]"},
      {"<!--a--!b-->x", "[x]"},
      {"<!--a--", ""},
      {"<!--a->x-->y", "[y]"},
      {"<!--a--->y", "[y]"},
      {"<!--a--b-->y", "[y]"},
      {"<!--!>x-->y", "[y]"},
      {"<!-- > <!-- --> -->y", "[ -->y]"},
  });
}

TEST(HTMLTokens, TagsAndAttributes) {
  check({
      {"<A B=C>", "<a b='C'>"},
      {"<a\tb\nc\fd>", "<a b='' c='' d=''>"},
      {"<a/b/>", "<a b=''/>"},
      {"<a//b>", "<a b=''>"},
      {"<a/>", "<a/>"},
      {"<a />", "<a/>"},
      {"<a / >", "<a>"},
      {"<a b=c/>", "<a b='c/'>"},
      {"<a =b>", "<a =b=''>"},
      {"<a b==c>", "<a b='=c'>"},
      {"<a b= c>", "<a b='c'>"},
      {"<a b\n=\nc>", "<a b='c'>"},
      {"<a b = 'c'd>", "<a b='c' d=''>"},
      {"<a b=>", "<a b=''>"},
      {"<a b='>'>", "<a b='>'>"},
      {"<a b=\"c\">", "<a b='c'>"},
      {"<a b=c\"d>", "<a b='c\"d'>"},
      {"<a b\"c>", "<a b\"c=''>"},
      {"<a ''>", "<a ''=''>"},
      {"<a b=1 B=2>", "<a b='1'>"},
      {"<a<b>", "<a<b>"},
      {"<b-c:d>", "<b-c:d>"},
      {"</A >x", "</a>[x]"},
  });
}

TEST(HTMLTokens, CharacterReferencesInTextsAndValues) {
  check({
      {"&amp;&lt&ltx", "[&<<x]"},
      {"&not;&noti;", "[\u00AC\u00ACi;]"},
      {"<a b='&noti;' c='&not=' d='&lt' e=&copy=1&reg>",
       "<a b='&noti;' c='&not=' d='<' e='&copy=1\u00AE'>"},
      {"&#65 &#65; &#x41; &#X41;", "[A A A A]"},
      {"&#0;&#xD800;&#x110000;&#99999999999999;", "[\uFFFD\uFFFD\uFFFD\uFFFD]"},
      {"&#x80;&#x9F;&#x1F642;", "[\u20AC\u0178\U0001F642]"},
      {"&# &#; &#x &#x; &#xZ &nosuch; &; & &", "[&# &#; &#x &#x; &#xZ &nosuch; &; & &]"},
      {"&amp;lt;", "[&lt;]"},
  });
}

TEST(HTMLTokens, ElementsThatHoldNoMarkup) {
  check({
      {"<title>a<b>&amp;</TITLE >x", "<title>[a<b>&]</title>[x]"},
      {"<title>a</titlex>b</title/>c", "<title>[a</titlex>b]</title>[c]"},
      {"<title>a</title", "<title>[a</title]"},
      {"<title/>x</title>", "<title/>[x]</title>"},
      {"<title>", "<title>"},
      {"<style></style>", "<style></style>"},
      {"<xmp><b>&lt;</xmp>", "<xmp>[<b>&lt;]</xmp>"},
      {"<plaintext></plaintext>x", "<plaintext>[</plaintext>x]"},
      {"</title>x", "</title>[x]"},
  });
}

TEST(HTMLTokens, ScriptsInComments) {
  check({
      {"<script>&amp;<b></script>x", "<script>[&amp;<b>]</script>[x]"},
      {"<script><!--a</script>x", "<script>[<!--a]</script>[x]"},
      {"<script><!--<script></script>a--></script>x",
       "<script>[<!--<script></script>a-->]</script>[x]"},
      {"<script><!--<SCRIPT/></Script >a</script>x",
       "<script>[<!--<SCRIPT/></Script >a]</script>[x]"},
      {"<script><!--<script>--></script>x", "<script>[<!--<script>-->]</script>[x]"},
      {"<script><!--<script>a</script>", "<script>[<!--<script>a</script>]"},
      {"<script><!--<scripts></script>x", "<script>[<!--<scripts>]</script>[x]"},
      {"<script><!--><script></script>x", "<script>[<!--><script>]</script>[x]"},
      {"<script><!---><script></script>x", "<script>[<!---><script>]</script>[x]"},
      {"<script><!-- --><script></script>x", "<script>[<!-- --><script>]</script>[x]"},
      {"<script><script></script>x", "<script>[<script>]</script>[x]"},
  });
}

}  // namespace
}  // namespace korvane
