#include "formats/links/LinkHosts.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::links {
namespace {

TEST(LinkHosts, Names) {
  EXPECT_EQ(asciiHost("a.example"), "a.example");
  EXPECT_EQ(asciiHost("A_b.Example"), "A_b.Example");
  EXPECT_EQ(asciiHost("Bücher.example"), "xn--bcher-kva.example");
  EXPECT_EQ(asciiHost("faß.de"), "xn--fa-hia.de");
  const std::string label(63, 'a');
  const std::string longest = label + "." + label + "." + label + "." + std::string(61, 'a');
  EXPECT_EQ(longest.size(), 253u);
  EXPECT_EQ(asciiHost(longest), longest);
  for (const std::string& host :
       {std::string(), std::string("."), std::string("a."), std::string(".a"), std::string("a..b"),
        std::string("-a.b"), std::string("a-.b"), label + "a", longest + "a",
        std::string("\u0301a.example"), std::string(2000, 'a') + "é"}) {
    EXPECT_EQ(asciiHost(host), std::nullopt) << host;
  }
}

TEST(LinkHosts, Endings) {
  for (const std::string_view label : {"com", "COM", "uk", "рф", "xn--p1ai", "museum", "md"}) {
    EXPECT_TRUE(isTopLevelDomain(label)) << label;
  }
  for (const std::string_view label : {"", "example", "txt", "co.uk", "3", "-", "local", "é"}) {
    EXPECT_FALSE(isTopLevelDomain(label)) << label;
  }
}

// Asked twice, so that what is remembered is seen too; more labels than can be.
TEST(LinkHosts, RememberedEndings) {
  TopLevelDomains remembered;
  std::vector<std::string> labels = {"",   "c",        "3",         "1a",         "com", "COM",
                                     "рф", "xn--p1ai", "é",         "-",          "c-m", "co.uk",
                                     "md", "museum",   "community", "foundation", "txt", "\xFF"};
  for (char a = 'a'; a <= 'z'; ++a) {
    for (char b = 'a'; b <= 'z'; ++b) labels.push_back({a, b});
  }
  for (int round = 0; round < 2; ++round) {
    for (const std::string& label : labels) {
      EXPECT_EQ(remembered.contains(label), isTopLevelDomain(label)) << label;
    }
  }
}

TEST(LinkHosts, TopLabels) {
  for (const std::string_view label : {"com", "a1", "xn--p1ai"})
    EXPECT_TRUE(canBeTopLabel(label)) << label;
  for (const std::string_view label : {"", "c", "1a", "12", "--"}) {
    EXPECT_FALSE(canBeTopLabel(label)) << label;
  }
}

}  // namespace
}  // namespace korvane::links
