#include "formats/links/BareHosts.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "support/Places.h"

namespace korvane::links {
namespace {

bool isDomain(std::string_view name, std::string_view rest = "") {
  return isBareDomain({name, name.substr(name.rfind('.') + 1), false, rest, false});
}

TEST(BareHosts, EndingsOfAllTheWorld) {
  for (const std::string_view name :
       {"a.com", "GitHub.com", "X.org", "OPENCORES.ORG", "de.wikipedia.org", "test.net",
        "x.y.z.edu", "Xiph.Org", "C.ROOT-SERVERS.NET", "mercury.Sun.COM"}) {
    EXPECT_TRUE(isDomain(name)) << name;
  }
  for (const std::string_view name :
       {"System.Net", "VB.NET", "README.org", "makefile.com", "com.example.net", "org.apache.org",
        "word.Com", "word.COM", "command.com"}) {
    EXPECT_FALSE(isDomain(name)) << name;
  }
}

TEST(BareHosts, CountriesAndOthers) {
  for (const std::string_view name : {"a.de",           "gov.uk",         "Met.no",
                                      "shop.a.co.uk",   "a.co.in",        "a.org.pl",
                                      "uni.ac.at",      "a.github.io",    "a.netlify.app",
                                      "docs.rs",        "bit.ly",         "web.dev",
                                      "a.blog",         "stadt.koeln",    "xn--e1afmkfd.xn--p1ai",
                                      "mail.de",        "test.fr",        "ZackZack.at",
                                      "Publico.PT",     "CodeCov.io",     "aet.TU-Cottbus.DE",
                                      "app.example.de", "Libera.Chat",    "data.example.info",
                                      "orf.at",         "mail.tuwien.at", "conf.id.au",
                                      "shop.com.au",    "archive.is",     "about.me",
                                      "Publico.Mail.pt"}) {
    EXPECT_TRUE(isDomain(name)) << name;
  }
  for (const std::string_view name : {"setup.py",
                                      "main.rs",
                                      "Makefile.am",
                                      "config.h.in",
                                      "libfoo.so",
                                      "window.open",
                                      "Date.now",
                                      "com.example.app",
                                      "io.netty.buffer.de",
                                      "Dr.med",
                                      "Dipl.Ing",
                                      "user.name",
                                      "this.me",
                                      "config.mak.dev",
                                      "Array.prototype.it",
                                      "System.it",
                                      "fooBar.io",
                                      "done.It",
                                      "3.am",
                                      "2.0.dev",
                                      "et.al",
                                      "object.it",
                                      "multi-user.target",
                                      "grub.info",
                                      "index.de",
                                      "INSTALL.FR",
                                      "done.De",
                                      "process.env.TZ",
                                      "0.15rc1.dev",
                                      "config.ru",
                                      "configure.ac.in",
                                      "that.is",
                                      "and.it",
                                      "this.me",
                                      "mail.to",
                                      "node.pk",
                                      "a.lt",
                                      "basic.at",
                                      "sound.au",
                                      "xlogo.bm",
                                      "keys.my",
                                      "TextShow.TH",
                                      "Data.Monad.LB",
                                      "a.languages.ru",
                                      "b.src.ch",
                                      "vb.net",
                                      "win.version.info",
                                      "datetime.datetime.today"}) {
    EXPECT_FALSE(isDomain(name)) << name;
  }
}

TEST(BareHosts, WhatStandsBehind) {
  EXPECT_TRUE(isDomain("a.md", "/news"));
  EXPECT_TRUE(isDomain("a.page", "/x/y.html"));
  EXPECT_TRUE(isDomain("a.com", "(see below)"));
  EXPECT_FALSE(isDomain("a.md", "? Yes"));
  EXPECT_FALSE(isDomain("url.md", "#class-url"));
  EXPECT_TRUE(isDomain("a.de", "#top"));
  EXPECT_TRUE(isDomain("news.a.com"));
  EXPECT_FALSE(isDomain("configure.ac", "/Makefile.am"));
  EXPECT_FALSE(isDomain("debhelper.in", "/*install*"));
  EXPECT_FALSE(isDomain("main.rs", ":12:5"));
  EXPECT_FALSE(isDomain("list.it", "(1)"));
  EXPECT_FALSE(isDomain("list.it", "[0]"));
  EXPECT_FALSE(isBareDomain({"list.it", "it", false, "", true}));
}

// What documents of some 3,700 packages hold that has the form of a bare domain, with what each is.
TEST(BareHosts, WhatDocumentsHold) {
  std::ifstream file(KORVANE_TEST_DATA "/bare-domains.tsv");
  std::size_t rows = 0;
  std::size_t domains = 0;
  std::size_t lost = 0;
  std::size_t wrong = 0;
  for (std::string line; std::getline(file, line); ++rows) {
    const std::size_t tab = line.find('\t');
    ASSERT_NE(tab, std::string::npos) << line;
    const std::string kind = line.substr(tab + 1);
    ASSERT_TRUE(kind == "domain" || kind == "other") << line;
    const bool isFound = isDomain(std::string_view(line).substr(0, tab));
    domains += kind == "domain" ? 1 : 0;
    lost += kind == "domain" && !isFound ? 1 : 0;
    wrong += kind == "other" && isFound ? 1 : 0;
  }
  EXPECT_EQ(rows, 2767u);
  EXPECT_EQ(domains, 1619u);
  EXPECT_LE(lost * 50, domains);                  // 2 %
  EXPECT_LE(wrong * 20, domains - lost + wrong);  // 5 %
  std::printf("%zu domains, %zu lost; %zu others found\n", domains, lost, wrong);
}

TEST(BareHosts, Addresses) {
  for (const std::string_view host : {"0.0.0.0", "192.168.1.1", "255.255.255.255"}) {
    EXPECT_TRUE(isIPv4Address(host)) << host;
  }
  for (const std::string_view host :
       {"", "1.2.3", "1.2.3.4.5", "256.1.1.1", "01.2.3.4", "1.2.3.", "a.2.3.4", "1.2.3.1000"}) {
    EXPECT_FALSE(isIPv4Address(host)) << host;
  }
}

}  // namespace
}  // namespace korvane::links
